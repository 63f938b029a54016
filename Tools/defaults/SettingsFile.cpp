#include "Tools/defaults/SettingsFile.hpp"

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "Platform/Linux/Support/ErrorText.hpp"
#include "Tools/Library/ToolError.hpp"
#include "Tools/Library/VolumeName.hpp"

namespace quorvel {
namespace {

constexpr std::size_t kLongestDomain = 240;  // Leaves room for ".plist" and the temporary's suffix.

// libplist's own function for this has another name from version 2.3 on.
struct FreeXml {
  void operator()(char* text) const { std::free(text); }
};

std::string variable(const char* name) {
  const char* const value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): one thread
  return value == nullptr ? "" : value;
}

std::string homeFolder() {
  if (std::string home = variable("HOME"); home.starts_with('/')) {
    return home;
  }
  const passwd* const user = ::getpwuid(::getuid());  // NOLINT(concurrency-mt-unsafe)
  if (user == nullptr || user->pw_dir == nullptr) {
    throw ToolError("defaults: your home folder is not known. Set HOME and try again.");
  }
  return user->pw_dir;
}

// XDG base directories must be absolute; a relative one is to be ignored.
std::string settingsFolder() {
  const std::string folder = variable("XDG_CONFIG_HOME");
  return folder.starts_with('/') ? folder : homeFolder() + "/.config";
}

void requireFileName(std::string_view domain) {
  const bool control = printable(domain) != domain;
  if (domain.empty() || domain.front() == '.' || control || domain.size() > kLongestDomain ||
      domain.find('/') != std::string_view::npos) {
    throw ToolError("defaults: \"" + printable(domain) +
                    "\" cannot be a domain. Name one like com.example.Program.");
  }
}

std::string readAll(const UniqueFd& file, std::size_t size, const std::string& path) {
  std::string content(size, '\0');
  std::size_t done = 0;
  while (done < size) {
    const ssize_t count = ::read(file.get(), content.data() + done, size - done);
    if (count == 0) {
      break;
    }
    if (count < 0 && errno != EINTR) {
      throw ToolError(errorText("defaults: " + printable(path) + " cannot be read") +
                      ". Check the disk.");
    }
    done += count > 0 ? static_cast<std::size_t>(count) : 0;
  }
  content.resize(done);
  return content;
}

void writeAll(const UniqueFd& file, std::string_view content, const std::string& path) {
  while (!content.empty()) {
    const ssize_t count = ::write(file.get(), content.data(), content.size());
    if (count < 0 && errno != EINTR) {
      throw ToolError(errorText("defaults: " + printable(path) + " cannot be written") +
                      ". See that there is room on the disk.");
    }
    content.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : 0);
  }
}

[[noreturn]] void refuse(const std::string& path, std::string_view what) {
  throw ToolError("defaults: " + printable(path) + " " + std::string(what) +
                  ". Move it away, then try again.");
}

std::string asXml(plist_t settings) {
  char* text = nullptr;
  std::uint32_t length = 0;
  ::plist_to_xml(settings, &text, &length);
  const std::unique_ptr<char, FreeXml> owner(text);
  if (text == nullptr) {
    throw ToolError("defaults: the settings cannot be put in writing; is memory short?");
  }
  if (length > kLargestPropertyList) {
    throw ToolError("defaults: the settings would be larger than any program reads. Write less.");
  }
  return {text, length};
}

// Removes the temporary file unless it has taken its place.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& target)
      : path_(target + ".XXXXXX"), file_(::mkostemp(path_.data(), O_CLOEXEC)) {
    if (!file_) {
      throw ToolError(
          errorText("defaults: a file beside " + printable(target) + " cannot be made") +
          ". See that you may write to its folder.");
    }
  }
  ~TemporaryFile() {
    if (!path_.empty()) {
      ::unlink(path_.c_str());
    }
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  [[nodiscard]] const UniqueFd& file() const { return file_; }
  void replace(const std::string& target) {
    if (::fsync(file_.get()) != 0 || ::rename(path_.c_str(), target.c_str()) != 0) {
      throw ToolError(errorText("defaults: " + printable(target) + " cannot be replaced") +
                      ". See that there is room on the disk.");
    }
    path_.clear();
  }

 private:
  std::string path_;
  UniqueFd file_;
};

void makeFolder(const std::string& folder) {
  const std::filesystem::path parent = std::filesystem::path(folder).parent_path();
  std::error_code ignored;  // The next step tells.
  std::filesystem::create_directories(parent, ignored);
  if (::mkdir(folder.c_str(), S_IRWXU) != 0 && errno != EEXIST) {
    throw ToolError(errorText("defaults: the folder " + printable(folder) + " cannot be made") +
                    ". Make it yourself and try again.");
  }
}

// Without this a power cut could bring the old name back.
void syncFolder(const std::string& folder) {
  const UniqueFd opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (opened) {
    ::fsync(opened.get());
  }
}

}  // namespace

SettingsFile::SettingsFile(std::string_view domain) {
  requireFileName(domain);
  folder_ = settingsFolder();
  path_ = folder_ + "/" + std::string(domain) + ".plist";
}

PropertyList SettingsFile::read() const {
  const UniqueFd file(::open(path_.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
  if (!file) {
    if (errno == ENOENT) {
      return nullptr;
    }
    if (errno == ELOOP) {
      refuse(path_, "is a symbolic link, which is not followed");
    }
    throw ToolError(errorText("defaults: " + printable(path_) + " cannot be opened") +
                    ". See that it belongs to you.");
  }
  struct stat status {};
  if (::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
      static_cast<std::size_t>(status.st_size) > kLargestPropertyList) {
    refuse(path_, "is no settings file");
  }
  PropertyList list =
      parsePropertyList(readAll(file, static_cast<std::size_t>(status.st_size), path_));
  if (!list) {
    refuse(path_, "is not a property list with a dictionary in it");
  }
  return list;
}

void SettingsFile::write(plist_t settings) const {
  makeFolder(folder_);
  TemporaryFile temporary(path_);
  writeAll(temporary.file(), asXml(settings), path_);
  temporary.replace(path_);
  syncFolder(folder_);
}

void SettingsFile::remove() const {
  if (::unlink(path_.c_str()) != 0) {
    throw ToolError(errorText("defaults: " + printable(path_) + " cannot be removed") +
                    ". See that you may write to its folder.");
  }
}

UniqueFd SettingsFile::lock() const {
  makeFolder(folder_);
  // The folder itself is the lock: a file would have to be left lying about.
  UniqueFd folder(::open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder || ::flock(folder.get(), LOCK_EX) != 0) {
    throw ToolError(errorText("defaults: the folder " + printable(folder_) + " cannot be locked") +
                    ". See that it belongs to you.");
  }
  return folder;
}

}  // namespace quorvel
