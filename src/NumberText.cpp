#include "NumberText.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace TarvUtil::Internal {
namespace {

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool IsHexDigit(char c)
{
    return IsDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

char At(std::string_view text, std::size_t i)
{
    return i < text.size() ? text[i] : '\0';
}

bool TakeSign(std::string_view& text)
{
    const char sign = At(text, 0);
    if (sign == '-' || sign == '+') text.remove_prefix(1);
    return sign == '-';
}

// Whether the first digit behind "0x", perhaps behind a point, is there: without one strtod reads the 0
// alone.
bool TakeHexPrefix(std::string_view& text)
{
    if (At(text, 0) != '0' || (At(text, 1) != 'x' && At(text, 1) != 'X')) return false;
    if (!IsHexDigit(At(text, At(text, 2) == '.' ? 3 : 2))) return false;
    text.remove_prefix(2);
    return true;
}

// Tells an overflow from an underflow, for a number that is known to be out of the range of double: by the
// place of its first digit other than 0, and its exponent.
bool IsOverflow(std::string_view text, bool hex)
{
    long long place = 0;
    bool point = false;
    bool found = false;
    std::size_t i = 0;
    for (; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '.' && !point) {
            point = true;
        } else if (hex ? IsHexDigit(c) : IsDigit(c)) {
            found = found || c != '0';
            if (found && !point) ++place;
            if (!found && point) --place;
        } else {
            break;
        }
    }
    const char marker = At(text, i);
    const bool marked = hex ? marker == 'p' || marker == 'P' : marker == 'e' || marker == 'E';
    const int exponent = marked ? ReadInt(text.substr(i + 1)) : 0;
    return place * (hex ? 4 : 1) + exponent > 0;
}

}  // namespace

double ReadNumber(std::string_view text)
{
    const bool negative = TakeSign(text);
    const bool hex = TakeHexPrefix(text);
    if (At(text, 0) == '-') return 0;
    // No number has both signs in its exponent, but from_chars takes them in a hexadecimal one.
    if (hex) text = text.substr(0, text.find("+-"));
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value,
                                              hex ? std::chars_format::hex : std::chars_format::general);
    if (error == std::errc::invalid_argument) return 0;
    if (error == std::errc::result_out_of_range)
        value = IsOverflow(text, hex) ? std::numeric_limits<double>::infinity() : 0;
    return negative ? -value : value;
}

int ReadInt(std::string_view text)
{
    const bool negative = TakeSign(text);
    if (At(text, 0) == '-') return 0;
    long long value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    using Limits = std::numeric_limits<int>;
    if (error == std::errc::result_out_of_range || value > Limits::max())
        return negative ? Limits::min() : Limits::max();
    return static_cast<int>(negative ? -value : value);
}

void AppendNumber(std::string& text, float value)
{
    if (std::isnan(value)) {
        text += "nan";
        return;
    }
    char digits[64];  // a sign, 39 digits, a point and six decimals at most
    const auto [end, error] = std::to_chars(digits, digits + sizeof digits, static_cast<double>(value),
                                            std::chars_format::fixed, 6);
    text.append(digits, end);
}

}  // namespace TarvUtil::Internal
