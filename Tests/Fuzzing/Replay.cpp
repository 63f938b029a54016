// Gives every file of the folders named as arguments to the fuzzer: what was found once is looked
// for in every build.
#include <filesystem>
#include <iostream>

#include "Tests/Fuzzing/Fuzzing.hpp"
#include "Tests/Support/Files.hpp"

int main(int count, char** arguments) {
  std::size_t replayed = 0;
  for (int i = 1; i < count; ++i) {
    for (const auto& file : std::filesystem::directory_iterator(arguments[i])) {
      std::cout << file.path().filename() << std::endl;  // At once: the next may end us.
      quorvel::test::check(quorvel::test::readFile(file.path()));
      ++replayed;
    }
  }
  std::cout << replayed << " inputs replayed\n";
  return replayed > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
