// Pictures from the bundle.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// A picture in one or more sizes. Main thread only.
class NSImage {
 public:
  /// One size of the picture: rows from top to bottom, a pixel four bytes: alpha, red, green, blue,
  /// not premultiplied.
  struct Representation {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> pixels;
  };

  /// The picture NAME.pam of the main bundle: portable arbitrary maps (netpbm's pam(5)) of type
  /// RGB_ALPHA with a depth of 8 bits, one after the other. Null, with a word on standard
  /// error, when it is missing or damaged.
  static std::shared_ptr<NSImage> imageNamed(std::string_view name);

  [[nodiscard]] const std::vector<Representation>& representations() const {
    return representations_;
  }

 private:
  explicit NSImage(std::vector<Representation> representations)
      : representations_(std::move(representations)) {}

  std::vector<Representation> representations_;
};

}  // namespace quorvel
