#include "Helper/NTFSManager.hpp"

#include "Helper/DiskInfo.hpp"
#include "Helper/NoticeScript.hpp"
#include "Helper/ShellText.hpp"
#include "Platform/Dispatch/Dispatch.hpp"
#include "Platform/Foundation/NSFileManager.hpp"
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

/// A command line that runs as the superuser; sudo reads the password from its standard input.
std::string privileged(const std::string& command) {
  return "echo " + quotedForEcho(SharedData::shared().pwd()) + " | sudo -S " + command;
}

bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

/// Whether a folder of that name lies directly in its parent folder and nowhere else.
bool isPathComponent(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && !contains(name, "/");
}

/// Clears the flag of a scan however the scan ends.
class ScanEnd {
 public:
  explicit ScanEnd(std::atomic<bool>& isRunning) : isRunning_(isRunning) {}
  ~ScanEnd() { isRunning_ = false; }
  ScanEnd(const ScanEnd&) = delete;
  ScanEnd& operator=(const ScanEnd&) = delete;

 private:
  std::atomic<bool>& isRunning_;
};

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
  const auto tick = [this] { dispatchAsyncOnGlobalQueue([this] { run(); }); };
  NSRunLoop::mainRunLoop().addTimer({.interval = 2500ms, .block = tick},
                                    NSRunLoopMode::defaultMode);
}

void NTFSManager::run() {
  const FunctionLog log{"run()"};
  if (isRunning_.exchange(true)) {
    log({"Running...."});
    return;
  }
  const ScanEnd end(isRunning_);
  const auto listed = parseDiskList(runShell(listCommand).result);
  for (const std::string& ID : listed) {
    examineDisk(ID);
  }
  reconcile(listed, parseMountList(runShell(mountListCommand).result));
}

void NTFSManager::examineDisk(std::string_view ID) {
  const FunctionLog log{"run()"};
  if (previousInsertedVolumeIDs_.contains(ID)) {
    return;
  }
  remember(ID);
  const auto output = runShell(std::string(infoCommand) + bareOrQuotedForShell(ID)).result;
  if (output.empty()) {
    return;
  }
  const auto values = parseDiskInfo(output);
  log({values});
  if (values.size() != 3) {
    return;
  }
  const std::string& name = values[0];
  const std::string& mountState = values[1];
  const std::string& personality = values[2];
  if (!contains(personality, "NTFS")) {
    log({"NOT NTFS"});
    return;
  }
  if (contains(mountState, "No")) {
    forgetLast();
    log({"No mounted system"});
    return;
  }
  if (contains(name, " ") && SharedData::shared().managerStyle()) {
    log({"卷名不能包含空格"});
    return;
  }
  if (!isPathComponent(name)) {
    log({"卷名不能用作文件夹名"});
    return;
  }
  adopt(name, ID);
}

void NTFSManager::remember(std::string_view ID) {
  const std::lock_guard lock(registries_);
  previousInsertedVolumeIDs_.append(ID);
}

void NTFSManager::forgetLast() {
  const std::lock_guard lock(registries_);
  previousInsertedVolumeIDs_.removeLast();
}

void NTFSManager::adopt(const std::string& name, std::string_view ID) {
  const auto volume = std::make_shared<VolumeModel>(name, std::string(ID));
  {
    const std::lock_guard lock(registries_);
    previousInsertedNTFSVolumes_.push_back(volume);
  }
  if (!SharedData::shared().managerStyle()) {
    volume->mount();
  }
}

void NTFSManager::reconcile(const std::vector<std::string>& listed,
                            const std::vector<std::string>& mounted) {
  if (!SharedData::shared().managerStyle()) {
    removeStaleMounts(mounted);
  }
  const IdentifierSet identifiers(listed.begin(), listed.end(), listed.size());
  dropVanishedVolumes(identifiers);
  dropVanishedIdentifiers(identifiers);
}

void NTFSManager::removeStaleMounts(const std::vector<std::string>& mounted) const {
  const IdentifierSet nodes(mounted.begin(), mounted.end());
  for (const auto& volume : previousInsertedNTFSVolumes_) {
    if (!nodes.contains(volume->path())) {
      volume->remove();
    }
  }
}

void NTFSManager::dropVanishedVolumes(const IdentifierSet& listed) {
  const FunctionLog log{"run()"};
  for (auto position = previousInsertedNTFSVolumes_.begin();
       position != previousInsertedNTFSVolumes_.end();) {
    const auto volume = *position;
    if (listed.contains(volume->ID())) {
      ++position;
      continue;
    }
    if (!SharedData::shared().managerStyle()) {
      volume->remove();
    }
    {
      const std::lock_guard lock(registries_);
      position = previousInsertedNTFSVolumes_.erase(position);
    }
    log({"remove " + volume->ID()});
  }
}

void NTFSManager::dropVanishedIdentifiers(const IdentifierSet& listed) {
  const FunctionLog log{"run()"};
  for (auto position = previousInsertedVolumeIDs_.begin();
       position != previousInsertedVolumeIDs_.end();) {
    const std::string ID = *position;
    if (listed.contains(ID)) {
      ++position;
      continue;
    }
    {
      const std::lock_guard lock(registries_);
      position = previousInsertedVolumeIDs_.erase(position);
    }
    log({"remove " + ID});
  }
}

NTFSManager::Volumes NTFSManager::previousInsertedNTFSVolumes() const {
  const std::lock_guard lock(registries_);
  return {previousInsertedNTFSVolumes_.begin(), previousInsertedNTFSVolumes_.end()};
}

std::vector<std::string> NTFSManager::previousInsertedVolumeIDs() const {
  const std::lock_guard lock(registries_);
  return {previousInsertedVolumeIDs_.begin(), previousInsertedVolumeIDs_.end()};
}

void NTFSManager::setPreviousInsertedVolumeIDs(const std::vector<std::string>& identifiers) {
  const std::lock_guard lock(registries_);
  while (previousInsertedVolumeIDs_.begin() != previousInsertedVolumeIDs_.end()) {
    previousInsertedVolumeIDs_.removeLast();
  }
  for (const std::string& ID : identifiers) {
    if (!previousInsertedVolumeIDs_.contains(ID)) {
      previousInsertedVolumeIDs_.append(ID);
    }
  }
}

// The main application's notices

void NTFSManager::eventCallBackNotification(const NSNotification& notification) {
  const FunctionLog log{"eventCallBackNotification(notification:)"};
  if (!notification.object) {
    log({"错误的指令"});
    return;
  }
  if (const auto script = scriptForNotice(*notification.object)) {
    log({runShell(*script)});
  }
}

// The volume's record

const std::string& VolumeModel::path() {
  std::call_once(pathOnce_, [this] { path_ = "/dev/" + ID_; });
  return path_;
}

const std::string& VolumeModel::desktopPath() {
  std::call_once(desktopPathOnce_, [this] { desktopPath_ = NSHomeDirectory() + "/Desktop"; });
  return desktopPath_;
}

std::string VolumeModel::mountDirectory() { return desktopPath() + "/" + name_; }

bool VolumeModel::isMountDirectoryEmpty() {
  return !NSFileManager::defaultManager().hasSubpathsAtPath(mountDirectory());
}

std::string VolumeModel::removalCommand() {
  return privileged("rm -rf " + quotedForShell(mountDirectory()));
}

void VolumeModel::askMainApplication(const std::string& verb) const {
  NSDistributedNotificationCenter::defaultCenter().postNotificationName(
      kHelperDoNotification, verb + "," + name_, NSDistributedNotificationPostToAllSessions);
}

void VolumeModel::remove() {
  const FunctionLog log{"remove()"};
  const std::lock_guard operation(operation_);
  if (status_ != Status::mounted || !isMountDirectoryEmpty()) {
    return;
  }
  const CommandResult removal = runShell(removalCommand());
  status_ = Status::umounted;
  log({"remove", name_, ID_, removal});
}

void VolumeModel::showInFinder() {
  const FunctionLog log{"showInFinder()"};
  log({"open", name_, ID_, runShell("open /Volumes/" + bareOrQuotedForShell(name_))});
}

void VolumeModel::umount() {
  const FunctionLog log{"umount()"};
  const std::lock_guard operation(operation_);
  if (status_ != Status::mounted) {
    return;
  }
  if (SharedData::shared().managerStyle()) {
    askMainApplication("remove");
    status_ = Status::umounted;
    return;
  }
  log({"umounted", name_, ID_, runShell("diskutil umount " + ID_)});
  if (!isMountDirectoryEmpty()) {
    return;
  }
  const CommandResult removal = runShell(removalCommand() + "\ndiskutil mount " + ID_);
  status_ = Status::umounted;
  log({"remove", name_, ID_, removal});
}

void VolumeModel::mount() {
  const FunctionLog log{"mount()"};
  if (status_ == Status::mounted) {
    return;  // Without waiting for the operation that has made it so.
  }
  const std::lock_guard operation(operation_);
  if (status_.exchange(Status::mounted) == Status::mounted) {
    return;
  }
  if (SharedData::shared().managerStyle()) {
    askMainApplication("add");
    return;
  }
  const std::string directory = quotedForShell(mountDirectory());
  const CommandResult mounting =
      runShell("diskutil umount " + ID_ + "\n" +          //
               privileged("mkdir " + directory) + "\n" +  //
               privileged("mount_ntfs -o rw,nobrowse " + path() + " " + directory));
  log({"new mounted", name_, ID_, mounting});
}

}  // namespace quorvel
