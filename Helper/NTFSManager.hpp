// The scan cycle: finds NTFS volumes, keeps their registry, and has each taken over.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Helper/VolumeModel.hpp"
#include "Platform/Foundation/NSDistributedNotificationCenter.hpp"
#include "Platform/Foundation/NSObject.hpp"

namespace quorvel {

/// Threads: ticks come on the main thread; each hands one scan to the global queue, where one runs
/// at a time. Only the scan writes the registries; readers on any thread get a copy. The one mutex
/// is held to copy or to change a list, never while a command runs.
class NTFSManager : public NSObject {
 public:
  /// The single instance; it is never destroyed.
  static NTFSManager& shared();

  /// Scans every 2.5 seconds from now on, for the first time 2.5 seconds from now. Called once, on
  /// the main thread.
  void start();

  /// One scan: lists the disks, examines each that it has not seen, cleans up after mounts and
  /// disks that are gone. Logs "Running...." and does nothing while another scan is in progress.
  /// Blocks until all its commands have ended; not to be called on the main thread.
  void run();

  /// Answers a notice of the main application, "add,VOLUME" or "remove,VOLUME": has the volume
  /// mounted anew and opened, or unmounted. Main thread; blocks until the commands have ended.
  void eventCallBackNotification(const NSNotification& notification);

  using Volumes = std::vector<std::shared_ptr<VolumeModel>>;
  /// The adopted volumes, in order of discovery.
  [[nodiscard]] Volumes previousInsertedNTFSVolumes() const;
  /// The identifiers that need no further examination while they stay listed.
  [[nodiscard]] std::vector<std::string> previousInsertedVolumeIDs() const;

 private:
  /// Observes the main application's notices; main thread.
  NTFSManager();
  ~NTFSManager();

  /// On standard error, when scans have been refused for a minute.
  void sayOnceIfItHangs();
  void examineDisk(const std::string& ID);
  void adopt(const std::string& name, const std::string& ID);
  // `listed` are identifiers, `mounted` device nodes.
  void removeStaleMounts(const std::vector<std::string>& mounted) const;
  void dropVanishedVolumes(const std::vector<std::string>& listed);
  void dropVanishedIdentifiers(const std::vector<std::string>& listed);

  Volumes previousInsertedNTFSVolumes_;
  std::vector<std::string> previousInsertedVolumeIDs_;
  mutable std::mutex registries_;  ///< Guards the two lists.
  NSDistributedNotificationCenter& notify_;
  std::mutex isRunning_;           ///< Held by a scan in progress.
  std::atomic<int> refusals_ = 0;  ///< Of other scans, since it began.
};

}  // namespace quorvel
