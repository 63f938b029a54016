#include "Tools/defaults/SettingsFile.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "Platform/Linux/Support/ErrorText.hpp"
#include "Platform/Linux/Support/ReadWrite.hpp"
#include "Platform/Linux/Support/UniqueFd.hpp"
#include "Platform/Linux/Support/UserFolders.hpp"
#include "Tools/Library/ForeignText.hpp"
#include "Tools/Library/ToolError.hpp"
#include "Tools/defaults/Values.hpp"

namespace quorvel {
namespace {

std::string pathOf(std::string_view domain) {
  if (domain.empty() || domain.front() == '.' || printable(domain) != domain ||
      domain.find('/') != std::string_view::npos) {
    throw ToolError("defaults: \"" + printable(domain) +
                    "\" cannot be a domain. Name one like com.example.Program.");
  }
  return settingsPath(domain);
}

[[noreturn]] void refuse(const std::string& path, const std::string& what) {
  throw ToolError("defaults: " + printable(path) + " " + what + ". Move it away, then try again.");
}

[[noreturn]] void fail(const std::string& path, const std::string& what, const std::string& todo) {
  throw ToolError(errorText("defaults: " + printable(path) + " " + what) + ". " + todo);
}

// The folder itself is the lock: a file would have to be left lying about.
UniqueFd lockedFolder(const std::string& path) {
  std::error_code problem;
  std::filesystem::create_directories(path, problem);
  errno = problem.value();
  UniqueFd folder(problem ? -1 : ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder || ::flock(folder.get(), LOCK_EX) != 0) {
    fail(path, "cannot be used", "See that it is a folder of yours, or can be made.");
  }
  return folder;
}

// What has not become the file is taken away again.
bool replaceFile(const std::string& path, const std::string& content) {
  std::string temporary = path + ".XXXXXX";
  const UniqueFd file(::mkostemp(temporary.data(), O_CLOEXEC));
  const bool isDone = file && writeAll(file.get(), content) == content.size() &&
                      ::fsync(file.get()) == 0 && ::rename(temporary.c_str(), path.c_str()) == 0;
  if (file && !isDone) {
    const int error = errno;
    ::unlink(temporary.c_str());
    errno = error;
  }
  return isDone;
}

PropertyList read(const std::string& path) {
  std::error_code ignored;
  if (std::filesystem::is_symlink(path, ignored)) {
    refuse(path, "is a symbolic link, which is not followed");
  }
  PropertyList settings = readPropertyList(path);
  if (!settings && errno == EINVAL) {
    refuse(path, "is not a property list with a dictionary in it");
  }
  if (!settings && errno != ENOENT && errno != ENOTDIR) {
    fail(path, "cannot be read", "See that it belongs to you, or move it away.");
  }
  return settings;
}

void write(const std::string& path, plist_t settings) {
  const std::string text = xmlOf(settings);
  if (text.size() > kLargestPropertyList) {
    throw ToolError("defaults: the settings would be larger than any program reads. Write less.");
  }
  const bool isEmpty = ::plist_dict_get_size(settings) == 0;
  if (isEmpty ? ::unlink(path.c_str()) != 0 : !replaceFile(path, text)) {
    fail(path, "cannot be written",
         "See that you may write to its folder and that there is room on the disk.");
  }
}

}  // namespace

PropertyList readSettings(std::string_view domain) { return read(pathOf(domain)); }

void changeSettings(std::string_view domain, const std::function<void(plist_t)>& change) {
  const std::string path = pathOf(domain);
  const UniqueFd folder = lockedFolder(std::filesystem::path(path).parent_path());
  PropertyList settings = read(path);
  if (!settings) {
    settings.reset(::plist_new_dict());
  }
  change(settings.get());
  write(path, settings.get());
  ::fsync(folder.get());  // Without this a power cut could bring the old file back.
}

}  // namespace quorvel
