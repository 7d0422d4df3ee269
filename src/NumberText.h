#pragma once

#include <string>
#include <string_view>

// Numbers read and printed as in the "C" locale, whatever locale the host has set.
namespace TarvUtil::Internal {

// White space as the "C" locale has it.
inline bool IsBlank(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// The number at the start of text, as strtod reads it where no white space is in front: a sign, decimal or
// hexadecimal, "inf" and "nan" in any case; infinity on overflow, 0 when there is no number.
//
//     "1.5ms" -> 1.5    "0x10" -> 16    "1e999" -> inf    "abc" -> 0
double ReadNumber(std::string_view text);

// The whole number at the start of text, as strtol in base 10 reads it where no white space is in front;
// saturates at 32 bits.
int ReadInt(std::string_view text);

// Appends value as "%f" prints it, a NaN always as "nan".
void AppendNumber(std::string& text, float value);

}  // namespace TarvUtil::Internal
