#include <regex>

#include "Platform/Text/UTF8.hpp"
#include "Tests/Fuzzing/Fuzzing.hpp"
#include "Tools/Library/Contents.hpp"
#include "Tools/Library/ForeignText.hpp"

namespace quorvel::test {
namespace {

void requireComponent(const std::string& name) {
  constexpr std::size_t kLongest = 255;
  require(!name.empty() && name.size() <= kLongest, "it has a length that a file may have");
  static const std::regex elsewhere("(^|:) *[.][.]? *(:|$)");
  require(!std::regex_search(name, elsewhere), "no part between colons leads elsewhere");
  require(name.find_first_of(std::string("/\n\0", 3)) == std::string::npos, "it is one component");
  require(isUTF8(name) && printable(name) == name, "it can be printed");
}

}  // namespace

void check(const std::string& label) {
  const std::string name = volumeName(label);
  requireComponent(name);
  requireComponent(volumeName(decodeUdevText(label)));
  require(volumeName(name) == name, "a name is its own name");
  constexpr unsigned kNumber = 4'000'000'000;
  requireComponent(numberedName(name, kNumber));
}

}  // namespace quorvel::test
