// How the work on a listing grows with its rows. The same number of rows is worked on in portions
// of one size and of another: where growth is linear, both take equally long.
#include "Benchmarks/Measure.hpp"
#include "Helper/DiskInfo.hpp"
#include "Helper/NTFSManager.hpp"
#include "Platform/Foundation/NSPathUtilities.hpp"
#include "Tests/Support/Files.hpp"

namespace quorvel::benchmarks {
namespace {

constexpr int kRows = 100'000;
constexpr int kUsualPortion = 1'000;

using Identifiers = std::vector<std::string>;

Identifiers identifiers(int count) {
  Identifiers all;
  for (int i = 0; i < count; ++i) {
    all.push_back("disk" + std::to_string(i) + "s1");
  }
  return all;
}

std::string listing(int rows) {
  std::string text;
  for (const std::string& identifier : identifiers(rows)) {
    text += "   1:               Windows_NTFS Volume                  1.0 GB     " + identifier;
    text += "\n";
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

/// Reconciles a registry that holds `known` with `listed`.
std::function<Cost()> reconciling(const Identifiers& known, const Identifiers& listed) {
  return [known, listed] {
    auto& manager = NTFSManager::shared();
    test::writeFile(NSHomeDirectory() + "/Quorvel_Helper.txt", "");
    Cost sum;
    for (std::size_t done = 0; done < kRows; done += known.size()) {
      manager.setPreviousInsertedVolumeIDs(known);
      const Cost cost = costOf([&] { manager.reconcile(listed, {}); });
      sum = {.wall = sum.wall + cost.wall, .cpu = sum.cpu + cost.cpu};
    }
    return sum;
  };
}

std::function<Cost()> keeping(int portion) {
  return reconciling(identifiers(portion), identifiers(portion));
}

std::function<Cost()> dropping(int portion) { return reconciling(identifiers(portion), {}); }

void addGrowth(const std::string& what, std::function<Cost()> (*work)(int portion)) {
  for (const int portion : {10, kRows}) {
    add({.what = what + ", a row of " + std::to_string(portion) + " : of 1000",
         .pairs = 5,
         .ours = work(portion),
         .theirs = work(kUsualPortion),
         .wallGoal = "linear: about 1",
         .cpuGoal = ""});
  }
}

}  // namespace

void addRowBenchmarks() {
  addGrowth("parseDiskList", parsing);
  addGrowth("reconcile, all still there", keeping);
  addGrowth("reconcile, all vanished", dropping);
}

}  // namespace quorvel::benchmarks
