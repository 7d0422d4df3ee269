#include "NumberFormat.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <iterator>

#include "NumberText.h"

// A standard library without to_chars for floating-point numbers leaves __cpp_lib_to_chars undefined. printf then prints
// them, which gives the same text.
#if !defined(__cpp_lib_to_chars) && !defined(TARVUTIL_PRINTF)
#define TARVUTIL_PRINTF
#endif
#ifdef TARVUTIL_PRINTF
#include <algorithm>
#include <cstdio>
#include <cstring>
#endif

namespace preview {
namespace {

constexpr std::size_t Room = 400;  // 309 digits, a sign, a point and some decimals

#ifdef TARVUTIL_PRINTF

// Prints as printf does, with a decimal point in every locale. The text has a NUL at its end.
template <typename... Value>
char* Print(char* out, const char* format, Value... values)
{
    char* const end = out + std::snprintf(out, Room, format, values...);
    // Only the decimal separator of a locale is anything else. It may have several bytes.
    const auto foreign = [](char c) { return std::strchr("+-.0123456789aefin", c) == nullptr; };
    char* const separator = std::find_if(out, end, foreign);
    if (separator == end) return end;
    *separator = '.';
    return std::remove_if(separator, end, foreign);
}

char* WriteFixed(char* out, double value, int decimals)
{
    return Print(out, "%.*f", decimals, value);
}

// The fewest digits that read back to value, in scientific notation.
char* WriteScientific(char* out, float value)
{
    constexpr int MostDigits = 9;
    // Below a power of two floats are closer than above it: the decimal nearest to value may read back as another float
    // when one further up, near the middle of what reads back, does not.
    const auto exact = static_cast<double>(value);
    char* end = out;
    for (int digits = 1; digits <= MostDigits; ++digits)
        for (const double near : {exact, exact * (1 + 0x1p-26)}) {
            end = Print(out, "%.*e", digits - 1, near);
            const double read = TarvUtil::Internal::ReadNumber({out, static_cast<std::size_t>(end - out)});
            if (static_cast<float>(read) == value) return end;
        }
    return end;
}

char* WriteShortest(char* out, float value, bool plain)
{
    char scientific[Room];
    char* const end = WriteScientific(scientific, value);
    char* const exponent = std::find(scientific, end, 'e');
    if (exponent != end) {
        const auto decimals = static_cast<int>(
            std::count_if(scientific, exponent, [](char c) { return c >= '0' && c <= '9'; }) - 1);
        const int places = std::clamp(decimals - std::atoi(exponent + 1), 0, 100);
        char* const fixed = WriteFixed(out, static_cast<double>(value), places);
        if (plain || fixed - out <= end - scientific) return fixed;
    }
    return std::copy(scientific, end, out);
}

#else

char* WriteFixed(char* out, double value, int decimals)
{
    return std::to_chars(out, out + Room, value, std::chars_format::fixed, decimals).ptr;
}

char* WriteShortest(char* out, float value, bool plain)
{
    return plain ? std::to_chars(out, out + Room, value, std::chars_format::fixed).ptr
                 : std::to_chars(out, out + Room, value).ptr;
}

#endif

}  // namespace

void AppendShortest(std::string& text, float value)
{
    // Left alone, to_chars writes 100000 as 1e+05, which is shorter.
    constexpr float Plain = 1e15f;
    constexpr float Small = 1e-4f;
    const float magnitude = std::fabs(value);
    const bool plain = magnitude == 0 || (magnitude >= Small && magnitude < Plain);
    char digits[Room];
    text.append(digits, WriteShortest(digits, plain ? value + 0.0f : value, plain));
}

std::string Shortest(float value)
{
    std::string text;
    AppendShortest(text, value);
    return text;
}

namespace {

// Writes value to the nearest of these decimals, if a product of doubles is exact enough to be sure of it and not too
// long. Otherwise returns null.
char* WriteNearest(char* out, double value, int decimals)
{
    static constexpr std::uint32_t PowersOfTen[] = {1, 10, 100, 1000, 10000, 100000, 1000000};
    constexpr double Most = 1e12;
    constexpr double SurelyNearest = 0.499;
    if (decimals >= static_cast<int>(std::size(PowersOfTen))) return nullptr;
    const std::uint32_t unit = PowersOfTen[decimals];
    const double scaled = value * unit;
    if (!(std::fabs(scaled) < Most)) return nullptr;
    const auto whole = static_cast<std::int64_t>(scaled < 0 ? scaled - 0.5 : scaled + 0.5);
    if (std::fabs(scaled - static_cast<double>(whole)) > SurelyNearest) return nullptr;
    if (whole < 0) *out++ = '-';
    const auto magnitude = static_cast<std::uint64_t>(std::abs(whole));
    out = std::to_chars(out, out + Room, magnitude / unit).ptr;
    auto rest = static_cast<std::uint32_t>(magnitude % unit);
    if (rest != 0) *out++ = '.';
    for (; rest != 0; rest = rest * 10 % unit) *out++ = static_cast<char>('0' + rest * 10 / unit);
    return out;
}

}  // namespace

void AppendRounded(std::string& text, double value, int decimals)
{
    char digits[Room];
    const char* end = WriteNearest(digits, value, decimals);
    if (end == nullptr) {
        end = WriteFixed(digits, value, decimals);
        if (std::isfinite(value) && decimals != 0) {
            while (end[-1] == '0') --end;
            if (end[-1] == '.') --end;
        }
    }
    const std::string_view written(digits, static_cast<std::size_t>(end - digits));
    text += written == "-0" ? "0" : written;
}

std::string Rounded(double value, int decimals)
{
    std::string text;
    AppendRounded(text, value, decimals);
    return text;
}

double ShortestDouble(float value)
{
    char digits[Room];
    const char* const end = WriteShortest(digits, value, false);
    return TarvUtil::Internal::ReadNumber({digits, static_cast<std::size_t>(end - digits)});
}

}  // namespace preview
