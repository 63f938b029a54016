// A program that runs.
#pragma once

#include <string>

namespace quorvel {

class NSRunningApplication {
 public:
  explicit NSRunningApplication(std::string bundleIdentifier)
      : bundleIdentifier_(std::move(bundleIdentifier)) {}

  [[nodiscard]] const std::string& bundleIdentifier() const { return bundleIdentifier_; }

 private:
  std::string bundleIdentifier_;
};

}  // namespace quorvel
