// The folder that the running program and its resources live in.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// A bundle is a folder `NAME.app` with `Contents/Info.plist`, the program in `Contents/MacOS` and
/// its resources in `Contents/Resources`. May be used from any thread.
class NSBundle {
 public:
  /// The bundle in this folder, whose absolute path it is; nothing is looked at yet.
  explicit NSBundle(std::string bundlePath) : bundlePath_(std::move(bundlePath)) {}
  /// The bundle of the running program, found from the program's own path.
  static const NSBundle& mainBundle();

  /// Absolute path of the bundle's folder.
  [[nodiscard]] const std::string& bundlePath() const { return bundlePath_; }
  /// A text from the bundle's Info.plist; none when there is none.
  [[nodiscard]] std::optional<std::string> objectForInfoDictionaryKey(std::string_view key) const;
  /// Where the resource `name`.`type` of the bundle is or would be.
  [[nodiscard]] std::string pathForResource(std::string_view name, std::string_view type) const;

 private:
  std::string bundlePath_;
};

}  // namespace quorvel
