#include "Platform/AppKit/NSImage.hpp"

#include <algorithm>
#include <fstream>
#include <sstream>

#include "Platform/Foundation/NSBundle.hpp"
#include "Platform/Foundation/NSLog.hpp"

namespace quorvel {
namespace {

constexpr int kLargestSide = 512;
constexpr std::size_t kBytesPerPixel = 4;

/// The header of one map, up to and with its last line; false at the end of the file or when it
/// is no such header.
bool readHeader(std::istream& file, NSImage::Representation& picture) {
  std::string line;
  std::string described;  // Everything that has but one right value.
  if (!std::getline(file, line) || line != "P7") {
    return false;
  }
  while (std::getline(file, line) && line != "ENDHDR") {
    std::istringstream words(line);
    std::string key;
    words >> key;
    if (key == "WIDTH") {
      words >> picture.width;
    } else if (key == "HEIGHT") {
      words >> picture.height;
    } else {
      described += line + ";";
    }
  }
  return described == "DEPTH 4;MAXVAL 255;TUPLTYPE RGB_ALPHA;" && picture.width > 0 &&
         picture.height > 0 && picture.width <= kLargestSide && picture.height <= kLargestSide;
}

/// The file has red, green, blue, alpha.
void moveAlphaToFront(std::vector<std::uint8_t>& pixels) {
  for (std::size_t at = 0; at < pixels.size(); at += kBytesPerPixel) {
    const auto pixel = pixels.begin() + static_cast<std::ptrdiff_t>(at);
    std::rotate(pixel, pixel + kBytesPerPixel - 1, pixel + kBytesPerPixel);
  }
}

bool readPixels(std::istream& file, NSImage::Representation& picture) {
  const auto side = [](int length) { return static_cast<std::size_t>(length); };
  std::string bytes(side(picture.width) * side(picture.height) * kBytesPerPixel, '\0');
  file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  picture.pixels.assign(bytes.begin(), bytes.end());
  moveAlphaToFront(picture.pixels);
  return static_cast<bool>(file);
}

}  // namespace

std::shared_ptr<NSImage> NSImage::imageNamed(std::string_view name) {
  const std::string path = NSBundle::mainBundle().pathForResource(name, "pam");
  std::ifstream file(path, std::ios::binary);
  std::vector<Representation> pictures;
  for (Representation picture; readHeader(file, picture);) {
    if (!readPixels(file, picture)) {
      pictures.clear();
      break;
    }
    pictures.push_back(std::move(picture));
    picture = {};
  }
  if (pictures.empty()) {
    NSLog("The picture " + path + " is missing or damaged; install the application again.");
  }
  return pictures.empty() ? nullptr : std::shared_ptr<NSImage>(new NSImage(std::move(pictures)));
}

}  // namespace quorvel
