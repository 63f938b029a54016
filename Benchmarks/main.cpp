// A part of the table of measured ratios: its rows on standard output, progress on standard error.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iostream>
#include <string_view>
#include <utility>

#include "Benchmarks/Measure.hpp"
#include "Platform/Linux/Support/UniqueFd.hpp"

namespace quorvel::benchmarks {
namespace {

using Part = std::pair<std::string_view, void (*)(const test::StandInMachine&)>;
constexpr std::array<Part, 5> kParts{{{"commands", measureCommands},
                                      {"listing", measureListing},
                                      {"rows", measureRows},
                                      {"log", measureLog},
                                      {"menu", measureMenu}}};

int run(std::string_view name) {
  const auto* const part = std::ranges::find(kParts, name, &Part::first);
  if (part == kParts.end()) {
    std::cerr << "Usage: Benchmarks commands | listing | rows | log | menu\n";
    return EXIT_FAILURE;
  }
  const test::StandInMachine machine;
  const std::string log = machine / "output";  // The agent's parts write theirs to standard output.
  const UniqueFd output(::open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
  ::dup2(output.get(), STDOUT_FILENO);
  part->second(machine);
  return EXIT_SUCCESS;
}

}  // namespace
}  // namespace quorvel::benchmarks

int main(int argc, char** argv) { return quorvel::benchmarks::run(argc == 2 ? argv[1] : ""); }
