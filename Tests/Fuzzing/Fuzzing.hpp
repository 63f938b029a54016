// What the fuzzers have in common. A fuzzer gives any bytes to a parser and checks what must hold
// of the answer, whatever the bytes are.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>

namespace quorvel::test {

/// Each fuzzer's own: ends the program where something does not hold of this input.
void check(const std::string& input);  // NOLINT(*-inconsistent-declaration-parameter-name)

/// The entry of a fuzzer, by the name that libFuzzer calls.
extern "C" [[gnu::used]] inline int LLVMFuzzerTestOneInput(const std::uint8_t* bytes,
                                                           std::size_t size) {
  check({bytes, bytes + size});
  return 0;
}

inline void require(bool holds, std::string_view property) {
  if (!holds) {
    std::cerr << "Does not hold: " << property << std::endl;
    std::abort();
  }
}

}  // namespace quorvel::test
