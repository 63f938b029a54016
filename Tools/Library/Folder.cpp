#include "Tools/Library/Folder.hpp"

#include <dirent.h>

#include <memory>
#include <string_view>

#include "Platform/Linux/Support/UniqueFd.hpp"

namespace quorvel {
namespace {

struct CloseStream {
  void operator()(DIR* stream) const { ::closedir(stream); }
};
using FolderStream = std::unique_ptr<DIR, CloseStream>;

FolderStream openStream(const char* path, int directory) {
  UniqueFd folder(::openat(directory, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  FolderStream stream(folder ? ::fdopendir(folder.get()) : nullptr);
  if (stream) {
    static_cast<void>(folder.release());
  }
  return stream;
}

bool isDots(std::string_view name) { return name == "." || name == ".."; }

}  // namespace

std::vector<std::string> folderEntries(const char* path, int directory) {
  std::vector<std::string> names;
  const FolderStream stream = openStream(path, directory);
  if (!stream) {
    return names;
  }
  // NOLINTNEXTLINE(concurrency-mt-unsafe): each stream is read by one thread.
  while (const dirent* const entry = ::readdir(stream.get())) {
    if (!isDots(std::data(entry->d_name))) {
      names.emplace_back(std::data(entry->d_name));
    }
  }
  return names;
}

}  // namespace quorvel
