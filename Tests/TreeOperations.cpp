// Changes a tree in every way that programs change one, by a given seed, and says what came of it:
// the same on every file system, so that one can be held against another.
//
//     tree-operations FOLDER SEED COUNT
//     tree-operations FOLDER
//
// The second lists the tree, through a small buffer, as the C libraries of small systems do: not
// every driver can go on in the middle of what it has sent.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kBuffer = 1024;
constexpr std::uint64_t kHashStart = 1469598103934665603U;  // FNV-1a
constexpr std::uint64_t kHashStep = 1099511628211U;

std::minstd_rand dice;

std::size_t below(std::size_t bound) { return dice() % bound; }

std::string anyName() {
  static const std::array<std::string, 16> kNames{"a",
                                                  "A",
                                                  "con",
                                                  "a:b",
                                                  "ends in blank ",
                                                  "ends in dot.",
                                                  "?*<>|\"\\",
                                                  "-rf",
                                                  "\xc3\x9c",
                                                  "\xe6\x97\xa5",
                                                  "\xf0\x9f\x99\x82",
                                                  "$MFT",
                                                  ".hidden",
                                                  std::string(200, 'x'),
                                                  "two\nrows",
                                                  "~"};
  const std::size_t kind = below(64);
  return kind < kNames.size() ? kNames.at(kind) : "file " + std::to_string(below(60));
}

std::string anyPath() {
  std::string path = "folder " + std::to_string(below(30));
  for (std::size_t depth = below(3); depth > 0; --depth) {
    path += "/folder " + std::to_string(below(4));
  }
  return below(8) == 0 ? path : path + "/" + anyName();
}

bool writeTo(const std::string& path, int flags, off_t offset) {
  static const std::string kText(200'000, 't');
  const int file = ::open(path.c_str(), O_WRONLY | O_CLOEXEC | flags, 0644);
  const std::size_t length = below(10) == 0 ? below(kText.size()) : below(3000);
  const bool isWritten =
      file >= 0 && ::pwrite(file, kText.data(), length, offset) == static_cast<ssize_t>(length);
  ::close(file);
  return isWritten;
}

bool writeUnlinked(const std::string& path) {
  const int file = ::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_CREAT | O_EXCL, 0644);
  const bool isWritten = file >= 0 && ::unlink(path.c_str()) == 0 && ::write(file, "text", 4) == 4;
  ::close(file);
  return isWritten;
}

bool changeOnce() {
  const std::string path = anyPath();
  switch (below(16)) {
    case 0:
    case 1:
    case 2:
      return ::mkdir(path.c_str(), 0755) == 0;
    case 3:
    case 4:
    case 5:
    case 6:
      return writeTo(path, O_CREAT | O_TRUNC, 0);
    case 7:
      return writeTo(path, O_CREAT, static_cast<off_t>(below(100'000)));
    case 8:
      return writeTo(path, O_APPEND, 0);
    case 9:
      return ::truncate(path.c_str(), static_cast<off_t>(below(50'000))) == 0;
    case 10:
    case 11:
      return ::rename(path.c_str(), anyPath().c_str()) == 0;
    case 12:
      return ::link(path.c_str(), anyPath().c_str()) == 0;
    case 13:
      return ::unlink(path.c_str()) == 0;
    case 14:
      return ::rmdir(path.c_str()) == 0;
    default:
      return writeUnlinked(path);
  }
}

void makeFolders(const std::string& prefix, std::size_t count, int depth) {
  for (std::size_t i = 0; i < count; ++i) {
    const std::string path = prefix + "folder " + std::to_string(i);
    ::mkdir(path.c_str(), 0755);
    if (depth > 1) {
      makeFolders(path + "/", 4, depth - 1);
    }
  }
}

// How many operations succeeded, and which.
void change(std::size_t count) {
  makeFolders("", 30, 3);
  std::uint64_t hash = kHashStart;
  std::size_t succeeded = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const bool hasSucceeded = changeOnce();
    succeeded += hasSucceeded ? 1 : 0;
    hash = (hash ^ static_cast<std::uint64_t>(hasSucceeded)) * kHashStep;
  }
  std::cout << succeeded << " of " << count << " operations: " << hash << '\n';
}

std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  alignas(dirent64) std::array<char, kBuffer> buffer{};
  const int file = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  for (long end = 0; (end = ::syscall(SYS_getdents64, file, buffer.data(), buffer.size())) > 0;) {
    for (long at = 0; at < end;) {
      const auto* const entry = reinterpret_cast<const dirent64*>(&buffer.at(at));
      names.emplace_back(entry->d_name);
      at += entry->d_reclen;
    }
  }
  ::close(file);
  std::erase_if(names, [](const std::string& name) { return name == "." || name == ".."; });
  std::sort(names.begin(), names.end());
  return names;
}

std::uint64_t hashOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::uint64_t hash = kHashStart;
  std::for_each(std::istreambuf_iterator<char>(file), {}, [&hash](char byte) {
    hash = (hash ^ static_cast<unsigned char>(byte)) * kHashStep;
  });
  return hash;
}

void list(const std::string& folder) {
  for (const std::string& name : namesIn(folder)) {
    const std::string path = folder + "/" + name;
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
      std::cout << path << " is listed and is not there\n";
    } else if (S_ISDIR(status.st_mode)) {
      std::cout << path << "/\n";
      list(path);
    } else {
      std::cout << path << ' ' << status.st_size << ' ' << status.st_nlink << ' ' << hashOf(path)
                << '\n';
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv, argv + argc);
  if (argc < 2 || ::chdir(argv[1]) != 0) {
    std::cerr << "usage: tree-operations FOLDER [SEED COUNT]\n";
    return EXIT_FAILURE;
  }
  if (argc == 4) {
    dice.seed(static_cast<unsigned>(std::stoul(words[2])));
    change(std::stoul(words[3]));
  } else {
    list(".");
  }
  return EXIT_SUCCESS;
}
