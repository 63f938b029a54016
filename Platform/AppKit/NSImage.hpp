// Pictures from the bundle.
#pragma once

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
    std::string pixels;
  };

  /// The picture NAME.pam of the main bundle: portable arbitrary maps (netpbm's pam(5)) of type
  /// RGB_ALPHA with a depth of 8 bits, one after the other. Empty, with a word on standard error,
  /// when it is missing or damaged.
  static std::shared_ptr<NSImage> imageNamed(std::string_view name);

  [[nodiscard]] const std::vector<Representation>& representations() const {
    return representations_;
  }

 private:
  std::vector<Representation> representations_;
};

}  // namespace quorvel
