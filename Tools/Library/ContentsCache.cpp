#include "Tools/Library/ContentsCache.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "Platform/Linux/Support/UniqueFd.hpp"
#include "Tools/Library/Privilege.hpp"
#include "Tools/Library/SmallFile.hpp"
#include "Tools/Library/UdevRecord.hpp"
#include "Tools/Library/VolumeName.hpp"

namespace quorvel {
namespace {

// A row "D fingerprint" for each disk, then one "identifier table type file-system label" for it
// and for each of its partitions; tabs between the fields.
constexpr const char* kFile = "/run/quorvel-contents";
constexpr std::string_view kDiskRow = "D";

std::string_view takeField(std::string_view& text, char separator) {
  const std::size_t end = std::min(text.find(separator), text.size());
  const std::string_view field = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return field;
}

std::string attribute(const Disk& disk, const char* name) {
  return readAttribute((sysfsFolder(disk) + "/" + name).c_str());
}

// The kernel's block/stat.rst: fields 5 and 7 count writes, 12 and 14 discards.
std::string writeCounters(std::string_view statistics) {
  std::string counters;
  for (int field = 1; !statistics.empty();) {
    const std::string_view value = takeField(statistics, ' ');
    if (value.empty()) {
      continue;
    }
    if (field == 5 || field == 7 || field == 12 || field == 14) {
      counters += ' ' + std::string(value);
    }
    ++field;
  }
  return counters;
}

// Empty when the kernel does not count this disk's writes: then nothing may be kept.
std::string fingerprintOf(const Disk& disk) {
  if (attribute(disk, "queue/iostats") != "1") {
    return {};
  }
  std::string text = toText(disk.whole.identifier) + writeCounters(attribute(disk, "stat"));
  for (const BlockDevice& partition : disk.partitions) {
    text += ' ' + toText(partition.identifier) + ':' + std::to_string(partition.size);
  }
  return text;
}

std::string row(const Identifier& identifier, const Contents& contents) {
  return toText(identifier) + '\t' + contents.tableType + '\t' + contents.partitionType + '\t' +
         contents.fileSystem + '\t' + printable(contents.label) + '\n';
}

void readRow(std::string_view text, ContentsByIdentifier& contents) {
  const auto identifier = parseIdentifier(takeField(text, '\t'));
  if (identifier) {
    Contents& entry = contents[*identifier];
    entry.tableType = takeField(text, '\t');
    entry.partitionType = takeField(text, '\t');
    entry.fileSystem = takeField(text, '\t');
    entry.label = takeField(text, '\t');
    entry.isReadable = true;
  }
}

// Under the lock, so that no key of the caller's terminal leaves a temporary file behind.
void writeFile(std::string_view text) {
  const VolumesLock lock(VolumesLock::Wait::no);
  if (!lock) {
    return;
  }
  std::string path = std::string(kFile) + ".XXXXXX";
  const UniqueFd file(::mkostemp(path.data(), O_CLOEXEC));
  if (!file) {
    return;
  }
  const bool whole =
      ::write(file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
  if (!whole || ::rename(path.c_str(), kFile) != 0) {
    ::unlink(path.c_str());
  }
}

}  // namespace

ContentsCache::ContentsCache() {
  const std::string text = isRoot() ? readSmallFile(kFile).value_or("") : "";
  ContentsByIdentifier* current = nullptr;
  for (std::string_view rest = text; !rest.empty();) {
    std::string_view line = takeField(rest, '\n');
    if (line.starts_with(kDiskRow)) {
      takeField(line, '\t');
      current = &stored_[std::string(line)];
    } else if (current != nullptr) {
      readRow(line, *current);
    }
  }
}

const ContentsByIdentifier& ContentsCache::contentsOf(const Disk& disk) {
  // Taken before the disk is read: what is written meanwhile makes the entry old at once.
  const std::string fingerprint = isUdevThere() ? "" : fingerprintOf(disk);
  const auto known = stored_.find(fingerprint);
  const bool complete =
      known != stored_.end() && known->second.size() == disk.partitions.size() + 1;
  if (!fingerprint.empty() && complete) {
    return used_[fingerprint] = known->second;
  }
  ContentsByIdentifier contents;
  readContents(disk, contents);
  // Reading again a disk that cannot be read costs little.
  const bool keep = contents.at(disk.whole.identifier).isReadable;
  return used_[keep ? fingerprint : std::string()] = std::move(contents);
}

void ContentsCache::save() const {
  if (!isRoot() || isUdevThere()) {
    return;
  }
  Entries kept = used_;
  kept.erase("");
  const bool same =
      kept.size() == stored_.size() &&
      std::equal(kept.begin(), kept.end(), stored_.begin(),
                 [](const auto& left, const auto& right) { return left.first == right.first; });
  if (same) {
    return;
  }
  std::string text;
  for (const auto& [fingerprint, contents] : kept) {
    text += std::string(kDiskRow) + '\t' + fingerprint + '\n';
    for (const auto& [identifier, entry] : contents) {
      text += row(identifier, entry);
    }
  }
  writeFile(text);
}

}  // namespace quorvel
