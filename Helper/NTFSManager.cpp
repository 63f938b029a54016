// The operations of VolumeModel stand here as well: entries of the log name the file that wrote
// them, and who reads the log looks for this one.
#include "Helper/NTFSManager.hpp"

#include <algorithm>

#include "Helper/DiskInfo.hpp"
#include "Helper/FolderTurn.hpp"
#include "Helper/Scripts.hpp"
#include "Platform/Dispatch/Dispatch.hpp"
#include "Platform/Foundation/NSFileManager.hpp"
#include "Platform/Foundation/NSLog.hpp"
#include "Platform/Foundation/NSPathUtilities.hpp"
#include "Platform/Foundation/NSRunLoop.hpp"
#include "Shared/Console.hpp"
#include "Shared/Constants.hpp"
#include "Shared/Script.hpp"
#include "Shared/SharedData.hpp"

namespace quorvel {
namespace {

using namespace std::chrono_literals;

CommandResult runShell(std::string_view script) {
  return Script::run("/bin/zsh", std::nullopt, {std::string(script)});
}

bool isIn(const std::vector<std::string>& texts, std::string_view text) {
  return std::ranges::find(texts, text) != texts.end();
}

bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

/// Whether a folder of that name lies directly in its parent folder and nowhere else.
bool isFolderName(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && !contains(name, "/");
}

constexpr auto kPeriod = 2500ms;

constexpr std::string_view kNotMounted = "No mounted system";
constexpr std::string_view kNoFolderName = "卷名不能用作文件夹名";

/// What there is to say against adopting what has these values, be it that nothing is known of it;
/// none where it is to be adopted.
std::optional<std::string_view> objectionTo(const std::vector<std::string>& values) {
  if (values.size() != 3) {
    return "";
  }
  const std::string& name = values[0];
  const std::string& mountState = values[1];
  const std::string& personality = values[2];
  if (!contains(personality, "NTFS")) {
    return "NOT NTFS";
  }
  if (contains(mountState, "No")) {
    return kNotMounted;
  }
  const bool isManaged = SharedData::shared().managerStyle();
  if (isManaged && contains(name, " ")) {
    return "卷名不能包含空格";
  }
  return isManaged || isFolderName(name) ? std::nullopt : std::optional(kNoFolderName);
}

}  // namespace

// The scan

NTFSManager& NTFSManager::shared() {
  static auto* const instance = new NTFSManager;  // Immortal: a scan may outlive main.
  return *instance;
}

NTFSManager::NTFSManager() : notify_(NSDistributedNotificationCenter::defaultCenter()) {
  notify_.addObserver(
      this, [this](const NSNotification& notification) { eventCallBackNotification(notification); },
      kHelperDoFinishNotification);
}

NTFSManager::~NTFSManager() { notify_.removeObserver(this); }

void NTFSManager::start() {
  NSRunLoop::mainRunLoop().addTimer(kPeriod,
                                    [this] { dispatchAsyncOnGlobalQueue([this] { run(); }); });
}

void NTFSManager::run() {
  const FunctionLog log{"run()"};
  const std::unique_lock scan(isRunning_, std::try_to_lock);
  if (!scan) {
    log({"Running...."});
    sayOnceIfItHangs();
    return;
  }
  refusals_ = 0;
  const auto listed = parseDiskList(runShell(listScript).result);
  for (const std::string& ID : listed) {
    examineDisk(ID);
  }
  const auto mounted = parseMountList(runShell(mountListScript).result);
  if (!SharedData::shared().managerStyle()) {
    removeStaleMounts(mounted);
  }
  dropVanishedVolumes(listed);
  dropVanishedIdentifiers(listed);
}

void NTFSManager::sayOnceIfItHangs() {
  constexpr int kRefusalsInAMinute = 60s / kPeriod;
  if (++refusals_ == kRefusalsInAMinute) {
    NSLog(
        "No disk is looked for any more: a command of the last scan has not ended for a minute. "
        "\"ps -ef\" shows it (df, diskutil, mount_ntfs); df waits for a file system whose server "
        "or driver does not answer.");
  }
}

// The identifier is remembered last, in one step with its volume: should anything be thrown before,
// the next scan examines it anew.
void NTFSManager::examineDisk(const std::string& ID) {
  const FunctionLog log{"run()"};
  if (isIn(previousInsertedVolumeIDs_, ID)) {
    return;
  }
  const std::string output = runShell(infoScript(ID)).result;
  const auto values = parseDiskInfo(output);
  if (!output.empty()) {
    log({values});
  }
  const auto objection = objectionTo(values);
  if (!objection) {
    adopt(values.front(), ID);
    return;
  }
  if (!objection->empty()) {
    log({*objection});
  }
  if (objection != kNotMounted) {
    const std::lock_guard lock(registries_);
    previousInsertedVolumeIDs_.push_back(ID);
  }
}

void NTFSManager::adopt(const std::string& name, const std::string& ID) {
  const auto volume = std::make_shared<VolumeModel>(name, ID);
  {
    const std::lock_guard lock(registries_);
    previousInsertedNTFSVolumes_.reserve(previousInsertedNTFSVolumes_.size() + 1);
    previousInsertedVolumeIDs_.push_back(ID);
    previousInsertedNTFSVolumes_.push_back(volume);
  }
  if (!SharedData::shared().managerStyle()) {
    volume->mount();
  }
}

void NTFSManager::removeStaleMounts(const std::vector<std::string>& mounted) const {
  for (const auto& volume : previousInsertedNTFSVolumes_) {
    if (!isIn(mounted, volume->path())) {
      volume->remove();
    }
  }
}

void NTFSManager::dropVanishedVolumes(const std::vector<std::string>& listed) {
  const FunctionLog log{"run()"};
  for (const auto& volume : previousInsertedNTFSVolumes()) {
    if (isIn(listed, volume->ID())) {
      continue;
    }
    if (!SharedData::shared().managerStyle()) {
      volume->remove();
    }
    {
      const std::lock_guard lock(registries_);
      std::erase(previousInsertedNTFSVolumes_, volume);
    }
    log({"remove " + volume->ID()});
  }
}

void NTFSManager::dropVanishedIdentifiers(const std::vector<std::string>& listed) {
  const FunctionLog log{"run()"};
  for (const std::string& ID : previousInsertedVolumeIDs()) {
    if (isIn(listed, ID)) {
      continue;
    }
    {
      const std::lock_guard lock(registries_);
      std::erase(previousInsertedVolumeIDs_, ID);
    }
    log({"remove " + ID});
  }
}

NTFSManager::Volumes NTFSManager::previousInsertedNTFSVolumes() const {
  const std::lock_guard lock(registries_);
  return previousInsertedNTFSVolumes_;
}

std::vector<std::string> NTFSManager::previousInsertedVolumeIDs() const {
  const std::lock_guard lock(registries_);
  return previousInsertedVolumeIDs_;
}

// The main application's notices

void NTFSManager::eventCallBackNotification(const NSNotification& notification) {
  const FunctionLog log{"eventCallBackNotification(notification:)"};
  if (!notification.object) {
    log({"错误的指令"});
    return;
  }
  if (const auto script = noticeScript(*notification.object)) {
    log({runShell(*script)});
  }
}

// The volume's record

const std::string& VolumeModel::desktopPath() {
  std::call_once(desktopPathOnce_, [this] { desktopPath_ = NSDesktopDirectory(); });
  return desktopPath_;
}

std::string VolumeModel::mountDirectory() { return desktopPath() + "/" + name_; }

bool VolumeModel::isMountDirectoryEmpty() {
  if (!isFolderName(name_)) {
    return false;  // It is some other folder.
  }
  const auto hasSubpaths = NSFileManager::defaultManager().hasSubpathsAtPath(mountDirectory());
  return !hasSubpaths.value_or(!hasMadeDirectory_);
}

void VolumeModel::askMainApplication(const std::string& verb) const {
  NSDistributedNotificationCenter::defaultCenter().postNotificationName(
      kHelperDoNotification, verb + "," + name_, NSDistributedNotificationPostToAllSessions);
}

void VolumeModel::inTurn(Status needed, const std::function<void()>& operation) {
  if (status_ != needed) {
    return;
  }
  const FolderTurn turn(name_);
  if (!turn) {
    NSLog("Volume " + ID_ +
          " is left as it is: another command has been at work in its folder for half a minute. "
          "End what hangs (\"ps -e\" shows mount_ntfs, diskutil or rm), and try again; without the "
          "agent: diskutil umount " +
          ID_ + " && diskutil mount " + ID_);
  } else if (status_ == needed) {
    operation();
  }
}

void VolumeModel::remove() {
  const FunctionLog log{"remove()"};
  inTurn(Status::mounted, [&] {
    if (!isMountDirectoryEmpty()) {
      return;
    }
    const auto removal = runShell(removalScript(mountDirectory(), SharedData::shared().pwd()));
    status_ = Status::umounted;
    log({"remove", name_, ID_, removal});
  });
}

void VolumeModel::showInFinder() {
  const FunctionLog log{"showInFinder()"};
  log({"open", name_, ID_, runShell(openScript(name_))});
}

void VolumeModel::umount() {
  const FunctionLog log{"umount()"};
  inTurn(Status::mounted, [&] {
    if (SharedData::shared().managerStyle()) {
      askMainApplication("remove");
      status_ = Status::umounted;
      return;
    }
    log({"umounted", name_, ID_, runShell(umountScript(ID_))});
    if (!isMountDirectoryEmpty()) {
      return;
    }
    const auto removal =
        runShell(giveBackScript(ID_, mountDirectory(), SharedData::shared().pwd()));
    status_ = Status::umounted;
    log({"remove", name_, ID_, removal});
  });
}

void VolumeModel::mount() {
  const FunctionLog log{"mount()"};
  inTurn(Status::umounted, [&] {
    status_ = Status::mounted;
    hasMadeDirectory_ = false;
    if (SharedData::shared().managerStyle()) {
      askMainApplication("add");
      return;
    }
    if (!isFolderName(name_)) {  // Adopted while the main application did the mounting.
      status_ = Status::umounted;
      log({kNoFolderName});
      return;
    }
    hasMadeDirectory_ = !NSFileManager::defaultManager().isAnythingAtPath(mountDirectory());
    const auto mounting =
        runShell(takeOverScript(ID_, mountDirectory(), SharedData::shared().pwd()));
    log({"new mounted", name_, ID_, mounting});
  });
}

}  // namespace quorvel
