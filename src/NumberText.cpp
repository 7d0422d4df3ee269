#include "NumberText.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "Numbers.h"

// A standard library without from_chars for floating-point numbers leaves __cpp_lib_to_chars undefined. Decimal
// numbers are then read by fast_float, which gives the same bits.
#if !defined(__cpp_lib_to_chars) && !defined(TARVUTIL_FAST_FLOAT)
#define TARVUTIL_FAST_FLOAT
#endif
#ifdef TARVUTIL_FAST_FLOAT
#if !__has_include(<fast_float/fast_float.h>)
#error "this standard library does not read floating-point numbers: install fast_float (libfast-float-dev)"
#endif
#include <fast_float/fast_float.h>
#endif

namespace TarvUtil::Internal {
namespace {

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

// The value of a hexadecimal digit, -1 for any other character.
int HexDigit(char c)
{
    if (IsDigit(c)) return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

char At(std::string_view text, std::size_t i)
{
    return i < text.size() ? text[i] : '\0';
}

bool ReadSign(std::string_view& text)
{
    const char sign = At(text, 0);
    if (sign == '-' || sign == '+') text.remove_prefix(1);
    return sign == '-';
}

// Whether the first digit after "0x", perhaps after a point, is there: without one strtod reads the 0
// alone.
bool SkipHexPrefix(std::string_view& text)
{
    if (At(text, 0) != '0' || (At(text, 1) != 'x' && At(text, 1) != 'X')) return false;
    if (HexDigit(At(text, At(text, 2) == '.' ? 3 : 2)) < 0) return false;
    text.remove_prefix(2);
    return true;
}

// The exponent at the start of text, 0 when there is none.
int ReadExponent(std::string_view text, char marker)
{
    const char first = At(text, 0);
    return first == marker || first == marker - 'a' + 'A' ? ReadInt(text.substr(1)) : 0;
}

// value / 2^bits, rounded half to even; more means that value goes on after its last bit. bits up to 62.
std::uint64_t RoundedShift(std::uint64_t value, int bits, bool more = false)
{
    const std::uint64_t unit = std::uint64_t{1} << bits;
    const std::uint64_t twiceRest = 2 * (value & (unit - 1)) + (more ? 1 : 0);
    value >>= bits;
    return value + (twiceRest > unit || (twiceRest == unit && value % 2 == 1) ? 1 : 0);
}

// The part of text after "0x". Rounds once, also where the result is subnormal.
double ReadHex(std::string_view text)
{
    std::uint64_t digits = 0;  // the first 15 from the first one that is not 0
    bool more = false;         // whether a later one is not 0
    long long exponent = 0;
    bool point = false;
    std::size_t i = 0;
    for (; i < text.size(); ++i) {
        if (text[i] == '.' && !point) {
            point = true;
            continue;
        }
        const int digit = HexDigit(text[i]);
        if (digit < 0) break;
        if (point) exponent -= 4;
        if (digits >> 56 == 0) {
            digits = 16 * digits + static_cast<unsigned int>(digit);
        } else {
            more = more || digit != 0;
            exponent += 4;
        }
    }
    exponent += ReadExponent(text.substr(i), 'p');

    constexpr int LeastExponent = -1074;
    int width = 0;
    while (digits >> width != 0) ++width;
    const long long excess = std::max<long long>(width - 53, LeastExponent - exponent);
    if (excess > width) return 0;
    const int dropped = static_cast<int>(std::max(excess, 0LL));
    const double rounded = static_cast<double>(RoundedShift(digits, dropped, more));
    return std::ldexp(rounded, static_cast<int>(std::min(exponent + dropped, 2000LL)));
}

// A decimal number as its digits from the first one that is not 0, and the exponent of ten of the point in front of
// them. Two numbers with the same 800 first digits round to the same double, but for a tie: after it, one digit
// stands for all others.
struct Decimal
{
    explicit Decimal(std::string_view text)
    {
        bool point = false;
        std::size_t i = 0;
        for (; i < text.size(); ++i) {
            const char c = text[i];
            if (c == '.' && !point) {
                point = true;
                continue;
            }
            if (!IsDigit(c)) break;
            const bool counts = c != '0' || !digits.empty();
            if (counts != point) exponent += counts ? 1 : -1;
            if (counts && digits.size() < 800)
                digits += c;
            else if (c != '0' && digits.back() == '0')
                digits.back() = '1';
        }
        exponent += ReadExponent(text.substr(i), 'e');
    }

    std::string digits;
    long long exponent = 0;
};

bool ReadShortDecimal(std::string_view text, double& value)
{
    const char* const end = text.data() + text.size();
#ifdef TARVUTIL_FAST_FLOAT
    return fast_float::from_chars(text.data(), end, value).ec == std::errc();
#else
    const std::errc error = std::from_chars(text.data(), end, value).ec;
    if (error == std::errc::result_out_of_range)
        value = Decimal(text).exponent > 0 ? std::numeric_limits<double>::infinity() : 0;
    return error != std::errc::invalid_argument;
#endif
}

// False without a number.
bool ReadDecimal(std::string_view text, double& value)
{
    // Both readers stop to count at an exponent of five digits. A longer text can have zeros that outweigh it.
    constexpr std::size_t Long = 60000;
    if (At(text, 0) == '-') return false;
    if (text.size() <= Long) return ReadShortDecimal(text, value);
    const Decimal number(text);
    if (number.digits.empty()) return ReadShortDecimal(text.substr(0, Long), value);
    const long long exponent = std::clamp(number.exponent, -9999LL, 9999LL);
    return ReadShortDecimal('.' + number.digits + 'e' + std::to_string(exponent), value);
}

char* WritePadded(char* out, std::uint64_t value, int width)
{
    for (int i = width - 1; i >= 0; --i, value /= 10) out[i] = static_cast<char>('0' + value % 10);
    return out + width;
}

// mantissa times 2^exponent, up to 2^128.
char* WriteWhole(char* out, std::uint32_t mantissa, int exponent)
{
    constexpr std::uint64_t Group = 1000000000;
    std::uint64_t groups[5] = {mantissa};  // of nine digits, the lowest first
    while (exponent > 0) {
        const int shift = std::min(exponent, 30);
        exponent -= shift;
        std::uint64_t carry = 0;
        for (std::uint64_t& group : groups) {
            carry += group << shift;
            group = carry % Group;
            carry /= Group;
        }
    }
    int highest = 4;
    while (highest > 0 && groups[highest] == 0) --highest;
    out = std::to_chars(out, out + 9, groups[highest]).ptr;
    while (highest > 0) out = WritePadded(out, groups[--highest], 9);
    return out;
}

template <std::size_t N>
char* WriteText(char* out, const char (&text)[N])
{
    std::memcpy(out, text, N - 1);
    return out + (N - 1);
}

}  // namespace

// The digits are exact in a double, and so is the power of ten: their quotient is rounded once.
bool ReadPlain(std::string_view text, double& value)
{
    static constexpr double PowersOfTen[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6, 1e7,
                                             1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14};
    if (text.empty() || text.size() > std::size(PowersOfTen)) return false;
    std::int64_t digits = 0;
    std::size_t decimals = text.size();
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (IsDigit(text[i]))
            digits = 10 * digits + (text[i] - '0');
        else if (text[i] == '.' && decimals == text.size() && text.size() > 1)
            decimals = i + 1;
        else
            return false;
    }
    value = static_cast<double>(digits);
    decimals = text.size() - decimals;
    if (decimals > 0) value /= PowersOfTen[decimals];
    return true;
}

double ReadNumber(std::string_view text)
{
    const bool negative = ReadSign(text);
    double value = 0;
    if (!ReadPlain(text, value)) {
        if (SkipHexPrefix(text))
            value = ReadHex(text);
        else if (!ReadDecimal(text, value))
            return 0;
    }
    return negative ? -value : value;
}

int ReadInt(std::string_view text)
{
    const bool negative = ReadSign(text);
    if (At(text, 0) == '-') return 0;
    long long value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    using Limits = std::numeric_limits<int>;
    if (error == std::errc::result_out_of_range || value > Limits::max())
        return negative ? Limits::min() : Limits::max();
    return static_cast<int>(negative ? -value : value);
}

char* WriteNumber(char* out, float value)
{
    if (std::isnan(value)) return WriteText(out, "nan");
    if (std::signbit(value)) *out++ = '-';
    value = std::fabs(value);
    if (std::isinf(value)) return WriteText(out, "inf");
    const int whole = ToInt(value);
    if (static_cast<float>(whole) == value && FitsInt(value)) {
        out = std::to_chars(out, out + 10, static_cast<unsigned int>(whole)).ptr;
        return WriteText(out, ".000000");
    }
    // value = mantissa 2^exponent
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    const std::uint32_t fraction = bits & 0x7FFFFF;
    const int biased = static_cast<int>(bits >> 23);
    const std::uint32_t mantissa = biased > 0 ? fraction | 0x800000 : fraction;
    const int exponent = std::max(biased, 1) - 150;
    if (exponent >= 0) return WriteText(WriteWhole(out, mantissa, exponent), ".000000");
    // A mantissa has 24 bits, a million 20: more than 62 of them leave nothing but 0.
    constexpr std::uint64_t Million = 1000000;
    const std::uint64_t millionths = RoundedShift(mantissa * Million, std::min(-exponent, 62));
    out = std::to_chars(out, out + 8, millionths / Million).ptr;
    *out++ = '.';
    return WritePadded(out, millionths % Million, 6);
}

void AppendNumber(std::string& text, float value)
{
    char digits[NumberRoom];
    text.append(digits, static_cast<std::size_t>(WriteNumber(digits, value) - digits));
}

}  // namespace TarvUtil::Internal
