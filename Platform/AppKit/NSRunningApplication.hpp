// A program that runs.
#pragma once

#include <string>

namespace quorvel {

struct NSRunningApplication {
  std::string bundleIdentifier;
};

}  // namespace quorvel
