// Labels written by strangers, made fit for a terminal.
#pragma once

#include <string>
#include <string_view>

namespace quorvel {

/// What a person sees of a label: "__" is a "_", any other "_" only marks a key and is dropped.
/// What would steer the terminal, break the line or turn its direction is shown as "?".
[[nodiscard]] std::string titleFromLabel(std::string_view label);

/// Any text, as safe to print as a title is; a "_" stays what it is.
[[nodiscard]] std::string safeText(std::string_view text);

/// How many columns of a terminal a valid UTF-8 text takes. Call `useWideCharacters` first.
[[nodiscard]] std::size_t displayWidth(std::string_view text);

/// Once, before there are threads: has the widths of all characters known.
void useWideCharacters();

}  // namespace quorvel
