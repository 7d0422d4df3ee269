#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// Text of users, in UTF-8 or not, on its way to a reader.
namespace preview {

// The number of bytes of the character at that place; 0 when the bytes there are not a UTF-8 character.
std::size_t Utf8Size(std::string_view text, std::size_t at);
bool IsUtf8(std::string_view text);

// How many columns wide text is shown, roughly: characters of East Asia take two, accents that join another none.
std::size_t ShownWidth(std::string_view text);

// text with the replacement character for bytes that are not valid UTF-8 and for control characters, and with blanks for
// tabs. A text that is wider than that many columns is shortened in its middle:
//
//     ShownText("alpha beta", 8) -> "alph…eta"
std::string ShownText(std::string_view text, std::size_t columns);

// text with each control character of ASCII as \xNN, for messages: a NUL is "\x00".
std::string Visible(std::string_view text);

}  // namespace preview
