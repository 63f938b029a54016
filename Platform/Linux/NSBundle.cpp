#include "Platform/Foundation/NSBundle.hpp"

#include <filesystem>

#include "Platform/Linux/Support/PropertyList.hpp"

namespace quorvel {
namespace {

/// NAME.app/Contents/MacOS/PROGRAM
std::string bundleOfThisProgram() {
  std::error_code error;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
  return program.parent_path().parent_path().parent_path();
}

}  // namespace

const NSBundle& NSBundle::mainBundle() {
  static auto* const bundle = new NSBundle(bundleOfThisProgram());  // Immortal.
  return *bundle;
}

std::optional<std::string> NSBundle::objectForInfoDictionaryKey(std::string_view key) const {
  const PropertyList info = readPropertyList(bundlePath_ + "/Contents/Info.plist");
  return propertyListText(propertyListItem(info.get(), key));
}

std::string NSBundle::pathForResource(std::string_view name, std::string_view type) const {
  return bundlePath_ + "/Contents/Resources/" + std::string(name) + "." + std::string(type);
}

}  // namespace quorvel
