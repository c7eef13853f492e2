// Text from files that strangers made, for terminals and pages.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

namespace cellwarden {

// Returns the text with every byte escaped that could control a terminal or is not valid UTF-8:
// "\x1B" for a control character or an invalid byte, "\u202E" for a character that changes the
// direction of writing. Other text, also non-ASCII text, stays as it is.
std::string printable(std::string_view text);

// Does the same with each line of the text; line feeds stay.
std::string printable_lines(std::string_view text);

// Returns the JSON in one line of ASCII; bytes that are not valid UTF-8 become U+FFFD.
std::string json_text(const nlohmann::ordered_json& json);

// Prints "PROGRAM: TEXT" on standard error. Only line feeds remain of the text's control
// characters.
void complain(std::string_view program, std::string_view text);

}  // namespace cellwarden
