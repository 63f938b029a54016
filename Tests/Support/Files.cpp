#include "Tests/Support/Files.hpp"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <thread>

namespace quorvel::test {

TemporaryFolder::TemporaryFolder() {
  std::string pattern = std::filesystem::temp_directory_path() / "quorvel-test-XXXXXX";
  path_ = ::mkdtemp(pattern.data());
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string readFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void writeFile(const std::filesystem::path& path, std::string_view content) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << content;
}

void writeScript(const std::filesystem::path& path, std::string_view script) {
  writeFile(path, script);
  std::filesystem::permissions(path, std::filesystem::perms(0755));
}

void setEnvironment(const char* name, const std::string& value) {
  ::setenv(name, value.c_str(), 1);  // NOLINT(concurrency-mt-unsafe): before threads exist.
}

bool eventually(const std::function<bool()>& condition, std::chrono::seconds patience) {
  const auto end = std::chrono::steady_clock::now() + patience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

}  // namespace quorvel::test
