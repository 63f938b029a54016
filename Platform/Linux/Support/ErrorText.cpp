#include "Platform/Linux/Support/ErrorText.hpp"

#include <system_error>

namespace quorvel {

std::string errorText(std::string_view context, int error) {
  return std::string(context) + ": " + std::generic_category().message(error);
}

}  // namespace quorvel
