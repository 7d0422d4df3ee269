#include "JsonWriter.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <nlohmann/json.hpp>

#include "NumberFormat.h"

namespace preview {
namespace {

// Neither an escape nor a byte of a longer character.
bool IsPlain(char c)
{
    return c >= ' ' && c < 0x7F && c != '"' && c != '\\';
}

}  // namespace

void JsonWriter::Grow(std::size_t size)
{
    constexpr std::size_t Least = 4096;
    m_text.resize(m_end + std::max({size, Least, m_end / 2}));
}

void JsonWriter::PutText(std::string_view text)
{
    if (!std::all_of(text.begin(), text.end(), IsPlain)) {
        using Json = nlohmann::json;
        return Put(Json(std::string(text)).dump(-1, ' ', false, Json::error_handler_t::replace));
    }
    Put('"');
    Put(text);
    Put('"');
}

void JsonWriter::PutValue(double value)
{
    constexpr std::size_t Most = 64;
    constexpr double MostWhole = 1e15;  // above it there is an exponent
    if (!std::isfinite(value)) return Put("null");
    char* out = Room(Most);
    if (!(std::fabs(value) < MostWhole) || static_cast<double>(static_cast<std::int64_t>(value)) != value ||
        value == 0)
        return EndAt(nlohmann::detail::to_chars(out, out + Most, value));
    out = std::to_chars(out, out + Most, static_cast<std::int64_t>(value)).ptr;
    *out++ = '.';
    *out++ = '0';
    EndAt(out);
}

void JsonWriter::PutValue(Figure figure)
{
    constexpr double AllDigits = 1e9;  // above it a double has no further digits worth cutting
    constexpr std::int64_t Million = 1000000;
    if (!(std::fabs(figure.value) <= AllDigits)) return PutValue(figure.value);
    const auto rounded = static_cast<std::int64_t>(std::round(figure.value * Million));
    const std::int64_t millionths = std::abs(rounded);
    char* out = Room(24);
    if (rounded < 0) *out++ = '-';
    const auto digit = [&out](std::int64_t value) { *out++ = static_cast<char>('0' + value); };
    if (millionths != 0 && millionths < 100) {
        const std::int64_t unit = millionths < 10 ? 1 : 10;
        digit(millionths / unit);
        if (millionths % unit != 0) {
            *out++ = '.';
            digit(millionths % unit);
        }
        const std::string_view exponent = unit == 1 ? "e-06" : "e-05";
        return EndAt(std::copy(exponent.begin(), exponent.end(), out));
    }
    out = std::to_chars(out, out + 10, millionths / Million).ptr;
    *out++ = '.';
    std::int64_t rest = millionths % Million;
    do {
        digit(rest / (Million / 10));
        rest = rest % (Million / 10) * 10;
    } while (rest != 0);
    EndAt(out);
}

double JsonWriter::DoubleOf(float value)
{
    // Each of these is its own shortest text.
    constexpr float MostWhole = 1e6f;
    if (std::fabs(value) < MostWhole && static_cast<float>(static_cast<int>(value)) == value)
        return static_cast<double>(value);
    return ShortestDouble(value);
}

}  // namespace preview
