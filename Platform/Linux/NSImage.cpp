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
  std::string text;
  for (std::string line; line != "ENDHDR" && std::getline(file, line);) {
    text += line + ' ';
  }
  std::istringstream header(text);
  std::string magic;
  std::string width;
  std::string height;
  std::string others;  // What has but one right value.
  header >> magic >> width >> picture.width >> height >> picture.height >> std::ws;
  std::getline(header, others);
  const auto isSide = [](int length) { return length > 0 && length <= kLargestSide; };
  return magic + width + height == "P7WIDTHHEIGHT" && isSide(picture.width) &&
         isSide(picture.height) && others == "DEPTH 4 MAXVAL 255 TUPLTYPE RGB_ALPHA ENDHDR ";
}

bool readPixels(std::istream& file, NSImage::Representation& picture) {
  const auto side = [](int length) { return static_cast<std::size_t>(length); };
  std::string bytes(side(picture.width) * side(picture.height) * kBytesPerPixel, '\0');
  file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  for (auto pixel = bytes.begin(); pixel != bytes.end(); pixel += kBytesPerPixel) {
    std::rotate(pixel, pixel + kBytesPerPixel - 1, pixel + kBytesPerPixel);  // Alpha comes first.
  }
  picture.pixels.assign(bytes.begin(), bytes.end());
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
