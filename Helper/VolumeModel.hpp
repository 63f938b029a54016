// The record of one NTFS volume and what can be done with it.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

namespace quorvel {

/// Shared by the registry, the menu, the scan and the termination; may be used from any thread.
/// The operations block until their commands have ended. Two operations on one record never
/// interleave: the later waits for the earlier. Reading never waits.
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

  /// `name` is one path component, the volume's name; `ID` the disk identifier, "disk2s1".
  VolumeModel(std::string name, std::string ID) : name_(std::move(name)), ID_(std::move(ID)) {}

  [[nodiscard]] const std::string& name() const { return name_; }
  [[nodiscard]] const std::string& ID() const { return ID_; }
  [[nodiscard]] Status status() const { return status_; }
  /// The device node, "/dev/disk2s1".
  [[nodiscard]] const std::string& path();
  /// The user's Desktop folder as it was at the first call.
  [[nodiscard]] const std::string& desktopPath();

  /// Deletes the mount directory of a `mounted` volume that is gone, unless there is anything in
  /// it; then it is `umounted`. Runs commands in either mode.
  void remove();
  /// Opens the volume's folder below /Volumes.
  void showInFinder();
  /// Gives a `mounted` volume back to the system; it stays `mounted` while there is anything in its
  /// mount directory, since the volume may still be there.
  void umount();
  /// Takes an `umounted` volume over from the system; it is `mounted` from the first moment, also
  /// when the commands fail.
  void mount();

 private:
  [[nodiscard]] std::string mountDirectory();
  [[nodiscard]] bool isMountDirectoryEmpty();
  [[nodiscard]] std::string removalCommand();
  void askMainApplication(const std::string& verb) const;

  const std::string name_;
  const std::string ID_;
  std::atomic<Status> status_ = Status::umounted;
  std::once_flag pathOnce_;
  std::string path_;
  std::once_flag desktopPathOnce_;
  std::string desktopPath_;
  std::mutex operation_;  ///< Held for the length of an operation.
};

}  // namespace quorvel
