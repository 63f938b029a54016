// Foreign text in command lines for zsh. A volume's name is written by whoever formatted the disk,
// and a password may hold anything: both must arrive as they are and do nothing else.
#pragma once

#include <string>
#include <string_view>

namespace quorvel {

/// The text between single quotes, as one word; a single quote in it does not end the quoting.
[[nodiscard]] std::string quotedForShell(std::string_view text);

/// A text of characters that mean nothing to the shell (letters of every script, digits, and
/// "_-.+/,:@%") or are listed in `alsoBare` as it stands, any other one quoted.
[[nodiscard]] std::string bareOrQuotedForShell(std::string_view text,
                                               std::string_view alsoBare = "");

/// The text between single quotes in such a form that the shell's `echo` prints it unchanged: that
/// `echo` has its own meaning for backslashes and for a first word that begins with "-".
[[nodiscard]] std::string quotedForEcho(std::string_view text);

}  // namespace quorvel
