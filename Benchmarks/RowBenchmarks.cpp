// How the reading of a listing grows with its rows. The same number of rows is read in portions of
// one size and of another: where growth is linear, both take equally long.
#include "Benchmarks/Measure.hpp"
#include "Helper/DiskInfo.hpp"

namespace quorvel::benchmarks {
namespace {

constexpr int kRows = 100'000;
constexpr int kUsualPortion = 1'000;

std::string listing(int rows) {
  std::string text;
  for (int i = 0; i < rows; ++i) {
    text += "   1:               Windows_NTFS Volume                  1.0 GB     disk" +
            std::to_string(i) + "s1\n";
  }
  return text;
}

std::function<Cost()> parsing(int portion) {
  return [portion, text = listing(portion)] {
    return costOf([&] {
      for (int i = 0; i < kRows / portion; ++i) {
        static_cast<void>(parseDiskList(text));
      }
    });
  };
}

}  // namespace

void measureRows(const test::StandInMachine& /*machine*/) {
  for (const int portion : {10, kRows}) {
    compare({.what = "`parseDiskList`, a row of " + std::to_string(portion) + " : of 1000",
             .pairs = 5,
             .ours = parsing(portion),
             .theirs = parsing(kUsualPortion),
             .wallGoal = "linear: about 1",
             .cpuGoal = ""});
  }
}

}  // namespace quorvel::benchmarks
