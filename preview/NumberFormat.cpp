#include "NumberFormat.h"

#include <charconv>
#include <cmath>

namespace preview {

void AppendShortest(std::string& text, float value)
{
    char digits[64];
    const auto [end, error] = std::to_chars(digits, digits + sizeof digits, value + 0.0f);
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
