#include "Tests/Support/Trial.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <utility>

namespace quorvel::test {
namespace {

constexpr int kProgressLines = 20;

bool isLong() {
  return std::getenv("QUORVEL_LONG") != nullptr;  // NOLINT(concurrency-mt-unsafe)
}

}  // namespace

Trial::Trial(std::string what, int rounds, int roundsOfLong)
    : what_(std::move(what)), rounds_(isLong() ? roundsOfLong : rounds) {}

Trial::~Trial() {
  std::cout << "row: " << what_ << " | " << round_ << " | "
            << (testing::Test::HasFailure() ? "see the failure" : "nothing") << std::endl;
}

bool Trial::next() {
  if (round_ == rounds_ || testing::Test::HasFailure()) {
    return false;
  }
  ++round_;
  if (isLong() && round_ % std::max(1, rounds_ / kProgressLines) == 0) {
    std::cout << what_ << ": " << round_ << " of " << rounds_ << std::endl;
  }
  return true;
}

}  // namespace quorvel::test
