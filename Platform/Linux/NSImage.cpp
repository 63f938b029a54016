#include "Platform/AppKit/NSImage.hpp"

#include <algorithm>
#include <fstream>

#include "Platform/Foundation/NSBundle.hpp"
#include "Platform/Foundation/NSLog.hpp"

namespace quorvel {
namespace {

constexpr int kLargestSide = 512;

/// The header of a map, through its last line; false when it is no such header.
bool readHeader(std::istream& file, NSImage::Representation& picture) {
  std::string others;  // What has but one right value.
  for (std::string word; word != "ENDHDR" && file >> word;) {
    others += word + ' ';
    if (word == "WIDTH") {
      file >> picture.width;
    } else if (word == "HEIGHT") {
      file >> picture.height;
    }
  }
  const auto isSide = [](int length) { return length > 0 && length <= kLargestSide; };
  return file.get() == '\n' && isSide(picture.width) && isSide(picture.height) &&
         others == "P7 WIDTH HEIGHT DEPTH 4 MAXVAL 255 TUPLTYPE RGB_ALPHA ENDHDR ";
}

bool readPixels(std::istream& file, NSImage::Representation& picture) {
  constexpr std::ptrdiff_t kBytesPerPixel = 4;
  const std::ptrdiff_t size = kBytesPerPixel * picture.width * picture.height;
  std::string& bytes = picture.pixels;
  bytes.resize(static_cast<std::size_t>(size));
  file.read(bytes.data(), size);
  for (auto pixel = bytes.begin(); pixel != bytes.end(); pixel += kBytesPerPixel) {
    std::rotate(pixel, pixel + kBytesPerPixel - 1, pixel + kBytesPerPixel);  // Alpha comes first.
  }
  return static_cast<bool>(file);
}

}  // namespace

std::shared_ptr<NSImage> NSImage::imageNamed(std::string_view name) {
  const std::string path = NSBundle::mainBundle().pathForResource(name, "pam");
  std::ifstream file(path, std::ios::binary);
  auto image = std::make_shared<NSImage>();
  auto& pictures = image->representations_;
  bool isWhole = true;
  while (isWhole && file.peek() != std::ifstream::traits_type::eof()) {
    Representation& picture = pictures.emplace_back();
    isWhole = readHeader(file, picture) && readPixels(file, picture);
  }
  if (pictures.empty() || !isWhole) {
    pictures.clear();
    NSLog("The picture " + path + " is missing or damaged; install the application again.");
  }
  return image;
}

}  // namespace quorvel
