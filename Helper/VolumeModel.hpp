// The record of one NTFS volume and what can be done with it. The operations stand beside the scan
// that calls them, in NTFSManager.cpp.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

namespace quorvel {

/// Shared by the registry, the menu, the scan and the termination; may be used from any thread.
/// The operations block until their commands have ended. Two operations on volumes of one name
/// never interleave, for they share a mount directory: the later waits for the earlier, half a
/// minute at most. Then it says so on standard error and does nothing. Reading never waits.
///
/// In automatic mode the operations run commands; in manager-style mode `mount` and `umount` ask
/// the main application to do the work. No command's success is judged: what went wrong shows in
/// the log, and `status` says what the agent did, not what the system reports.
class VolumeModel {
 public:
  enum class Status : std::uint8_t {
    mounted,  ///< The agent has mounted it read-write, or has asked the main application to.
    umounted  ///< The system may still have it mounted in its own way.
  };

  /// `name` is the volume's name, "" or ".." as well: such a volume is the main application's
  /// alone, since no folder can be made for it. `ID` is the disk identifier, "disk2s1".
  VolumeModel(std::string name, std::string ID) : name_(std::move(name)), ID_(std::move(ID)) {}

  [[nodiscard]] const std::string& name() const { return name_; }
  [[nodiscard]] const std::string& ID() const { return ID_; }
  [[nodiscard]] Status status() const { return status_; }
  /// The device node, "/dev/disk2s1".
  [[nodiscard]] std::string path() const { return "/dev/" + ID_; }
  /// The user's Desktop folder as it was at the first call, which makes one where there is none.
  [[nodiscard]] const std::string& desktopPath();

  /// Deletes the mount directory of a `mounted` volume that is gone, unless there may be anything
  /// in it; then it is `umounted`. Runs commands in either mode.
  void remove();
  /// Opens the folder of the volume's name below /Volumes.
  void showInFinder();
  /// Gives a `mounted` volume back to the system; it stays `mounted` while there may be anything in
  /// its mount directory, since the volume may still be there.
  void umount();
  /// Takes an `umounted` volume over from the system; it is `mounted` from the first moment, also
  /// when the commands fail. One whose name is no folder's name stays `umounted`.
  void mount();

 private:
  /// Runs the operation when its turn comes, if the status is, and still is then, what it needs.
  void inTurn(Status needed, const std::function<void()>& operation);
  [[nodiscard]] std::string mountDirectory();
  [[nodiscard]] bool isMountDirectoryEmpty();
  void askMainApplication(const std::string& verb) const;

  const std::string name_;
  const std::string ID_;
  std::atomic<Status> status_ = Status::umounted;
  std::once_flag desktopPathOnce_;
  std::string desktopPath_;
  /// It was not there before the last `mount`; for whose turn it is.
  bool hasMadeDirectory_ = false;
};

}  // namespace quorvel
