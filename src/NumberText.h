#pragma once

#include <cstddef>
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
// hexadecimal, "inf" and "nan" in any case; infinity on overflow, 0 without a number.
//
//     "1.5ms" -> 1.5    "0x10" -> 16    "1e999" -> inf    "abc" -> 0
double ReadNumber(std::string_view text);

// Reads text as a number if it is up to 15 digits, perhaps with a point, and nothing else, as most numbers are.
// Otherwise returns false and does not change value.
bool ReadPlain(std::string_view text, double& value);

// The whole number at the start of text, as strtol in base 10 reads it where no white space is in front;
// saturates at 32 bits.
int ReadInt(std::string_view text);

// The longest number printed has a sign, 39 digits, a point and six decimals.
constexpr std::size_t NumberRoom = 47;

// Writes value as "%f" prints it, a NaN always as "nan", and returns the end. Exact, and rounded half to even,
// in every rounding mode.
//
//     0.5f -> "0.500000"    0.1f -> "0.100000"    -0.0f -> "-0.000000"    16777216.0f -> "16777216.000000"
char* WriteNumber(char* out, float value);

// Appends what WriteNumber writes.
void AppendNumber(std::string& text, float value);

}  // namespace TarvUtil::Internal
