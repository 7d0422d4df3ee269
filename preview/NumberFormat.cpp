#include "NumberFormat.h"

#include <charconv>
#include <cmath>

namespace preview {

void AppendShortest(std::string& text, float value)
{
    // Left alone, to_chars writes 100000 as 1e+05, which is shorter.
    constexpr float Plain = 1e15f;
    constexpr float Small = 1e-4f;
    const float magnitude = std::fabs(value);
    const bool plain = magnitude == 0 || (magnitude >= Small && magnitude < Plain);
    char digits[64];
    const auto [end, error] =
        plain ? std::to_chars(digits, digits + sizeof digits, value + 0.0f, std::chars_format::fixed)
              : std::to_chars(digits, digits + sizeof digits, value);
    text.append(digits, end);
}

std::string Shortest(float value)
{
    std::string text;
    AppendShortest(text, value);
    return text;
}

std::string Rounded(double value, int decimals)
{
    char digits[400];  // 309 digits and some decimals at most
    auto [end, error] =
        std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, decimals);
    std::string text(digits, end);
    if (!std::isfinite(value) || decimals == 0) return text == "-0" ? "0" : text;
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') text.pop_back();
    return text == "-0" ? "0" : text;
}

double ShortestDouble(float value)
{
    char digits[64];
    const auto [end, error] = std::to_chars(digits, digits + sizeof digits, value + 0.0f);
    double number = value;
    std::from_chars(digits, end, number);
    return number;
}

}  // namespace preview
