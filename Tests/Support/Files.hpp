// Small things that tests do with files, and with time.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

namespace quorvel::test {

/// A folder that goes with its owner.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(std::string_view name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

std::string readFile(const std::filesystem::path& path);
void writeFile(const std::filesystem::path& path, std::string_view content);
/// Writes a program that any shell can start.
void writeScript(const std::filesystem::path& path, std::string_view script);
void setEnvironment(const char* name, const std::string& value);

/// Polls until the condition holds; false when it still does not after a generous while.
bool eventually(const std::function<bool()>& condition,
                std::chrono::seconds patience = std::chrono::seconds(60));

}  // namespace quorvel::test
