// What the fuzzers have in common. A fuzzer gives any bytes to a parser and checks what must hold
// of the answer, whatever the bytes are.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel::test {

/// The entry of a fuzzer, by the name that libFuzzer calls.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

inline void require(bool holds, std::string_view property) {
  if (!holds) {
    std::cerr << "Does not hold: " << property << std::endl;
    std::abort();
  }
}

inline void requireWordsOf(std::string text, const std::vector<std::string>& words) {
  std::replace(text.begin(), text.end(), '\n', ' ');
  text = " " + text + " ";
  for (const std::string& word : words) {
    require(!word.empty() && word.find_first_of(" \n") == std::string::npos, "it is one word");
    require(text.find(" " + word + " ") != std::string::npos, "the word is one of the text's");
  }
}

/// Nothing that stands before a row changes what the row is read as.
template <typename Parser>
void requireOneMore(Parser parse, const std::string& text, const char* row, const char* value) {
  auto expected = parse(text);
  expected.emplace_back(value);
  require(parse(text + "\n" + row) == expected, "a further row gives its value behind the others");
}

}  // namespace quorvel::test
