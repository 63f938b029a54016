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
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kBuffer = 1024;

std::minstd_rand dice;  // NOLINT(cert-msc*): the same again is what is wanted.

std::size_t below(std::size_t bound) { return dice() % bound; }

std::string anyName() {
  static const std::vector<std::string> kNames = [] {
    std::istringstream text(
        "a;A;con;a:b;ends in blank ;ends in "
        "dot.;?*<>|\"\\;-rf;\xc3\x9c;\xe6\x97\xa5;\xf0\x9f\x99\x82;"
        "$MFT;.hidden;two\nrows;~;" +
        std::string(200, 'x'));
    std::vector<std::string> names;
    for (std::string name; std::getline(text, name, ';');) {
      names.push_back(name);
    }
    return names;
  }();
  const std::size_t kind = below(64);
  return kind < kNames.size() ? kNames[kind] : "file " + std::to_string(below(60));
}

std::string anyPath() {
  std::string path = "folder " + std::to_string(below(30));
  for (std::size_t depth = below(3); depth > 0; --depth) {
    path += "/folder " + std::to_string(below(4));
  }
  return below(8) == 0 ? path : path + "/" + anyName();
}

bool writeTo(const char* path, int flags, off_t offset) {
  static const std::string kText(200'000, 't');
  const int file = ::open(path, O_WRONLY | O_CLOEXEC | flags, 0644);
  const std::size_t length = below(10) == 0 ? below(kText.size()) : below(3000);
  const bool isWritten =
      file >= 0 && ::pwrite(file, kText.data(), length, offset) == static_cast<ssize_t>(length);
  ::close(file);
  return isWritten;
}

bool writeUnlinked(const char* path) {
  const int file = ::open(path, O_WRONLY | O_CLOEXEC | O_CREAT | O_EXCL, 0644);
  const bool isWritten = file >= 0 && ::unlink(path) == 0 && ::write(file, "text", 4) == 4;
  ::close(file);
  return isWritten;
}

// Those that come more often stand in several rows.
using Change = bool (*)(const char* path);
constexpr Change kMakeFolder = [](const char* path) { return ::mkdir(path, 0755) == 0; };
constexpr Change kWrite = [](const char* path) { return writeTo(path, O_CREAT | O_TRUNC, 0); };
constexpr Change kRename = [](const char* path) { return ::rename(path, anyPath().c_str()) == 0; };
constexpr std::array<Change, 16> kChanges{
    kMakeFolder,
    kMakeFolder,
    kMakeFolder,
    kWrite,
    kWrite,
    kWrite,
    kWrite,
    kRename,
    kRename,
    [](const char* path) { return writeTo(path, O_CREAT, static_cast<off_t>(below(100'000))); },
    [](const char* path) { return writeTo(path, O_APPEND, 0); },
    [](const char* path) { return ::truncate(path, static_cast<off_t>(below(50'000))) == 0; },
    [](const char* path) { return ::link(path, anyPath().c_str()) == 0; },
    [](const char* path) { return ::unlink(path) == 0; },
    [](const char* path) { return ::rmdir(path) == 0; },
    writeUnlinked};

bool changeOnce() {
  const std::string path = anyPath();
  return kChanges.at(below(kChanges.size()))(path.c_str());
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
  std::string successes;
  for (std::size_t i = 0; i < count; ++i) {
    successes += changeOnce() ? '1' : '0';
  }
  std::cout << std::count(successes.begin(), successes.end(), '1') << " of " << count
            << " operations: " << std::hash<std::string>()(successes) << '\n';
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

std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void list(const std::string& folder) {
  for (const std::string& name : namesIn(folder)) {
    const std::string path = std::string(folder).append("/").append(name);
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
      std::cout << path << " is listed and is not there\n";
    } else if (S_ISDIR(status.st_mode)) {
      std::cout << path << "/\n";
      list(path);
    } else {
      std::cout << path << ' ' << status.st_size << ' ' << status.st_nlink << ' '
                << std::hash<std::string>()(contentOf(path)) << '\n';
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
