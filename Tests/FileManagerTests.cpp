#include "Platform/Foundation/NSFileManager.hpp"

#include <gtest/gtest.h>

#include "Tests/Support/Files.hpp"

namespace quorvel::test {
namespace {

bool hasSubpaths(const std::filesystem::path& path) {
  return NSFileManager::defaultManager().hasSubpathsAtPath(path);
}

TEST(FileManager, FindsAnythingBelowAFolder) {
  const TemporaryFolder folder;
  EXPECT_FALSE(hasSubpaths(folder.path()));
  EXPECT_FALSE(hasSubpaths(folder / "missing"));
  EXPECT_FALSE(hasSubpaths(folder / "missing/deeper"));
  std::filesystem::create_directory(folder / ".hidden");
  EXPECT_TRUE(hasSubpaths(folder.path()));
}

TEST(FileManager, TakesWhatIsNoFolderForSomethingOfTheUsers) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "");
  std::filesystem::create_directory(folder / "empty");
  std::filesystem::create_directory_symlink(folder / "empty", folder / "link");
  std::filesystem::create_directory_symlink(folder / "nowhere", folder / "dangling");
  EXPECT_TRUE(hasSubpaths(folder / "file"));
  EXPECT_TRUE(hasSubpaths(folder / "link"));
  EXPECT_TRUE(hasSubpaths(folder / "dangling"));
}

TEST(FileManager, TakesAMountForSomethingAlsoWhenItIsEmpty) {
  EXPECT_TRUE(hasSubpaths("/proc"));
  EXPECT_TRUE(hasSubpaths("/dev/shm")) << "a mounted file system, empty or not";
}

}  // namespace
}  // namespace quorvel::test
