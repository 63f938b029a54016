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
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <random>
#include <set>
#include <string>

namespace {

namespace fs = std::filesystem;

std::minstd_rand dice;  // NOLINT(cert-msc*): the same again is what is wanted.

std::size_t below(std::size_t bound) { return dice() % bound; }

std::string anyName() {
  static const std::string kLong(200, 'x');
  static const std::array<std::string, 16> kNames{
      "a", "A",  "con",  "a:b",  "ends in blank ", "ends in dot.", "?*<>|\"\\", "-rf",
      "Ü", "日", "🙂", "$MFT", ".hidden",        "two\nrows",    "~",         kLong};
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
  const int file = ::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_CREAT | flags, 0644);
  const std::size_t length = below(10) == 0 ? below(kText.size()) : below(3000);
  const bool isUnlinked = (flags & O_EXCL) != 0 && file >= 0 && ::unlink(path.c_str()) == 0;
  const bool isWritten =
      file >= 0 && ::pwrite(file, kText.data(), length, offset) == static_cast<ssize_t>(length);
  ::close(file);
  return isWritten && isUnlinked == ((flags & O_EXCL) != 0);
}

bool changeOnce() {
  const std::string path = anyPath();
  const char* const there = path.c_str();
  const std::array<std::function<bool()>, 10> operations{
      [&] { return writeTo(path, O_TRUNC, 0); },
      [&] { return ::mkdir(there, 0755) == 0; },
      [&] { return ::rename(there, anyPath().c_str()) == 0; },
      [&] { return writeTo(path, 0, static_cast<off_t>(below(100'000))); },
      [&] { return writeTo(path, O_EXCL, 0); },
      [&] { return ::unlink(there) == 0; },
      [&] { return writeTo(path, O_APPEND, 0); },
      [&] { return ::truncate(there, static_cast<off_t>(below(50'000))) == 0; },
      [&] { return ::link(there, anyPath().c_str()) == 0; },
      [&] { return ::rmdir(there) == 0; }};
  return operations.at(below(16) % 10)();  // The first six are the most frequent.
}

// How many operations succeeded, and which.
void change(std::size_t count) {
  std::string successes;
  for (std::size_t i = 0; i < 30 * 4 * 4; ++i) {
    fs::create_directories("folder " + std::to_string(i / 16) + "/folder " +
                           std::to_string(i / 4 % 4) + "/folder " + std::to_string(i % 4));
  }
  for (std::size_t i = 0; i < count; ++i) {
    successes += changeOnce() ? '1' : '0';
  }
  std::cout << std::count(successes.begin(), successes.end(), '1') << " of " << count
            << " operations: " << std::hash<std::string>()(successes) << '\n';
}

std::multiset<std::string> namesIn(const std::string& folder) {
  std::multiset<std::string> names;
  alignas(dirent64) std::array<char, 1024> buffer{};
  const int file = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  for (long end = 0; (end = ::syscall(SYS_getdents64, file, buffer.data(), buffer.size())) > 0;) {
    for (long at = 0; at < end;) {
      const auto* const entry = reinterpret_cast<const dirent64*>(&buffer.at(at));
      names.emplace(entry->d_name);
      at += entry->d_reclen;
    }
  }
  ::close(file);
  names.erase(".");
  names.erase("..");
  return names;
}

void list(const std::string& folder) {
  for (const std::string& name : namesIn(folder)) {
    const std::string path = folder + "/" + name;
    if (!fs::exists(path)) {
      std::cout << path << " is listed and is not there\n";
    } else if (fs::is_directory(path)) {
      std::cout << path << "/\n";
      list(path);
    } else {
      std::ifstream file(path, std::ios::binary);
      const std::string content{std::istreambuf_iterator<char>(file), {}};
      std::cout << path << ' ' << fs::file_size(path) << ' ' << fs::hard_link_count(path) << ' '
                << std::hash<std::string>()(content) << '\n';
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || ::chdir(argv[1]) != 0) {
    std::cerr << "usage: tree-operations FOLDER [SEED COUNT]\n";
    return EXIT_FAILURE;
  }
  if (argc == 4) {
    dice.seed(static_cast<unsigned>(std::stoul(argv[2])));
    change(std::stoul(argv[3]));
  } else {
    list(".");
  }
  return EXIT_SUCCESS;
}
