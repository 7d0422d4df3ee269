#include "Hints.h"

#include <algorithm>
#include <cstdint>

#include "NumberFormat.h"
#include "NumberText.h"

namespace preview {
namespace {

// One character of a text in UTF-8; bytes that are not a character count as one of the value 0.
struct Character
{
    std::uint32_t value = 0;
    std::size_t size = 1;
};

Character CharacterAt(std::string_view text, std::size_t at)
{
    const auto byte = [&](std::size_t i) {
        return i < text.size() ? static_cast<std::uint32_t>(static_cast<unsigned char>(text[i])) : 0U;
    };
    const std::uint32_t first = byte(at);
    if (first < 0x80) return {first, 1};
    const std::size_t size = first >= 0xE0 ? 3 : 2;
    std::uint32_t value = first & (size == 3 ? 0x0FU : 0x1FU);
    for (std::size_t i = 1; i < size; ++i) {
        if ((byte(at + i) & 0xC0U) != 0x80U) return {};
        value = (value << 6) | (byte(at + i) & 0x3FU);
    }
    return {value, size};
}

// Characters that look like one of ASCII, by the first and last of a row of them.
struct LookAlikes
{
    std::uint32_t first, last;
    char meant;
};

constexpr LookAlikes Alike[] = {{0x00A0, 0x00A0, ' '}, {0x2000, 0x200B, ' '}, {0x202F, 0x202F, ' '},
                                {0x205F, 0x205F, ' '}, {0x3000, 0x3000, ' '}, {0xFEFF, 0xFEFF, ' '},
                                {0x00AD, 0x00AD, '-'}, {0x2010, 0x2015, '-'}, {0x2212, 0x2212, '-'},
                                {0xFE58, 0xFE58, '-'}, {0xFE63, 0xFE63, '-'}, {0x060C, 0x060C, ','},
                                {0x201A, 0x201A, ','}, {0x3001, 0x3001, ','}, {0x041E, 0x041E, '0'},
                                {0x043E, 0x043E, '0'}, {0x2236, 0x2236, ':'}, {0xA789, 0xA789, ':'}};

// The ASCII character that another character looks like; 0 when there is none.
char MeantBy(std::uint32_t character)
{
    constexpr std::uint32_t FirstFullWidth = 0xFF01;
    constexpr std::uint32_t LastFullWidth = 0xFF5E;
    constexpr std::uint32_t FullWidth = 0xFEE0;
    if (character >= FirstFullWidth && character <= LastFullWidth)
        return static_cast<char>(character - FullWidth);
    const auto* found = std::find_if(std::begin(Alike), std::end(Alike), [&](const LookAlikes& alike) {
        return character >= alike.first && character <= alike.last;
    });
    return found == std::end(Alike) ? '\0' : found->meant;
}

char DigitLike(char letter)
{
    if (letter == 'O' || letter == 'o') return '0';
    return letter == 'l' || letter == 'I' || letter == '|' ? '1' : letter;
}

std::string NameOf(char c)
{
    const std::string quoted = std::string("\"") + c + '"';
    if (c == ' ') return "a blank";
    if (c == '-') return "the minus sign " + quoted;
    if (c == ',') return "the comma " + quoted;
    if (c == '.') return "the decimal point " + quoted;
    return (c >= '0' && c <= '9' ? "the digit " : "the character ") + quoted;
}

std::string ForeignCharacter(std::string_view item)
{
    for (std::size_t i = 0; i < item.size();) {
        const Character c = CharacterAt(item, i);
        if (const char meant = MeantBy(c.value); meant != '\0')
            return '"' + std::string(item.substr(i, c.size)) + "\" is not " + NameOf(meant);
        i += c.size;
    }
    return {};
}

// A letter or a comma in place of a digit or the decimal point, when nothing else is wrong.
std::string OtherCharacter(std::string_view item)
{
    std::string meant(item);
    std::transform(meant.begin(), meant.end(), meant.begin(), DigitLike);
    const auto letter = std::mismatch(meant.begin(), meant.end(), item.begin());
    if (letter.first != meant.end() && IsDecimal(meant))
        return std::string("the letter \"") + *letter.second + "\" is not " + NameOf(*letter.first);
    std::replace(meant.begin(), meant.end(), ',', '.');
    return item.find(',') != std::string_view::npos && IsDecimal(meant)
               ? R"("," is not the decimal point ".")"
               : "";
}

// --- Units ---

struct Unit
{
    std::string_view name;
    double size;  // in microseconds, in microamperes
};

constexpr Unit TimeUnits[] = {{"s", 1e6},  {"sec", 1e6}, {"ms", 1e3},    {"msec", 1e3}, {"us", 1},
                              {"usec", 1}, {"µs", 1},    {"\u03BCs", 1}, {"ns", 1e-3}};
constexpr Unit CurrentUnits[] = {{"A", 1e6}, {"mA", 1e3}, {"uA", 1}, {"µA", 1}, {"\u03BCA", 1}, {"nA", 1e-3}};

template <std::size_t N>
double SizeOf(std::string_view name, const Unit (&units)[N])
{
    const auto* found =
        std::find_if(std::begin(units), std::end(units), [&](const Unit& unit) { return unit.name == name; });
    return found == std::end(units) ? 0 : found->size;
}

// A number with a unit after it.
std::string UnitHint(std::string_view item, const Irregularity& irregularity)
{
    const std::size_t last = item.find_last_of("0123456789.");
    const std::size_t end = last == std::string_view::npos ? 0 : last + 1;
    const std::string_view unit = item.substr(std::min(item.find_first_not_of(" \t", end), item.size()));
    const std::string_view number = item.substr(0, end);
    if (!IsDecimal(number) || unit.empty()) return {};
    const bool train = irregularity.phase < 0;
    std::string hint = train                ? "a train is in milliseconds, without a unit"
                       : irregularity.isAmp ? "an amplitude is in microamperes, without a unit"
                                            : "a length is in microseconds, without a unit";
    const double size = irregularity.isAmp ? SizeOf(unit, CurrentUnits) : SizeOf(unit, TimeUnits);
    if (size == 0) return hint;
    const double value = TarvUtil::Internal::ReadNumber(number) * size / (train ? 1e3 : 1);
    return hint + ": " + Shortest(static_cast<float>(value));
}

}  // namespace

std::string HintOn(const Asked& asked, const Irregularity& irregularity)
{
    constexpr std::size_t MaxItem = 200;  // a longer item is not a typing error
    const std::string_view item = asked.At(irregularity.item).substr(0, MaxItem);
    switch (irregularity.kind) {
        case Irregular::Number:
            break;
        case Irregular::FieldMissing:
        case Irregular::PhaseForm:
        case Irregular::FieldForm:
        case Irregular::FieldName:
        case Irregular::BalanceMode:
        case Irregular::BlankAfterPhases:
            return ForeignCharacter(item);
        default:
            return {};
    }
    std::string hint = ForeignCharacter(item);
    if (hint.empty()) hint = OtherCharacter(item);
    return hint.empty() ? UnitHint(item, irregularity) : hint;
}

}  // namespace preview
