// Texts read in both ways against strtod: every place of every file that is named, and random texts.
//
//     prove-texts COUNT FILE...      COUNT random texts
//
// Exit 1 when anything was wrong.

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <limits>
#include <random>

#include "NumberText.h"
#include "Sweep.h"

namespace TarvUtil::ByFastFloat {
double ReadNumber(std::string_view text);
}

namespace {

using prove::Wrong;

// The strtod of WebAssembly's library reads a negative hexadecimal number near 0 as 0.
#ifdef __EMSCRIPTEN__
constexpr bool LosesSigns = true;
#else
constexpr bool LosesSigns = false;
#endif

// A few hexadecimal numbers below the smallest normal double are rounded to the wrong neighbour by the C library, such as
// 0xEddcd.5D6EaF62Cp-1042, whose last bits are 10.11: there the neighbour will do.
bool IsNeighbour(double a, double expected, const std::string& text)
{
    using Limits = std::numeric_limits<double>;
    const std::size_t sign = text[0] == '-' || text[0] == '+' ? 1 : 0;
    return std::fabs(expected) < Limits::min() && std::fabs(a - expected) <= Limits::denorm_min() &&
           text.find_first_of("xX") == sign + 1 && text[sign] == '0';
}

// A sign of 0 counts, that of a NaN does not.
bool Same(double a, double expected, const std::string& text)
{
    if (std::isnan(a)) return std::isnan(expected);
    return (a == expected || IsNeighbour(a, expected, text)) &&
           (std::signbit(a) == std::signbit(expected) || (LosesSigns && !std::signbit(expected)));
}

// strtod skips white space in front, where the library has none.
void Check(const std::string& text, Wrong& wrong)
{
    if (text.empty() || TarvUtil::Internal::IsBlank(text[0])) return;
    const double expected = std::strtod(text.c_str(), nullptr);
    if (!Same(TarvUtil::Internal::ReadNumber(text), expected, text) ||
        !Same(TarvUtil::ByFastFloat::ReadNumber(text), expected, text))
        wrong.Add(text);
}

using Random = std::mt19937_64;

std::string RandomDigits(Random& random, std::string_view digits, std::size_t most)
{
    std::string text;
    for (std::size_t n = random() % (most + 1); n > 0; --n) text += digits[random() % digits.size()];
    return text;
}

// A number, often with a fault in it: near what readers tell apart by the number of digits and the exponent.
std::string RandomText(Random& random)
{
    static constexpr const char* Signs[] = {"", "", "-", "+", "--", "+-"};
    static constexpr const char* Ends[] = {"", "", "", "us", " ", ",", ".", "e", "x", "-"};
    const bool hex = random() % 4 == 0;
    const std::string_view digits = hex ? "0123456789abcdefABCDEF" : "0123456789";
    const std::size_t most = random() % 8 == 0 ? 900 : random() % 4 == 0 ? 40 : 9;
    std::string text = Signs[random() % std::size(Signs)];
    if (hex) text += random() % 2 == 0 ? "0x" : "0X";
    const auto append = [&] {
        text += std::string(random() % 16 == 0 ? random() % 400 : 0, '0');
        text += RandomDigits(random, digits, most);
    };
    append();
    if (random() % 2 == 0) {
        text += '.';
        append();
    }
    if (random() % 3 == 0) {
        const int range = hex ? 1200 : random() % 4 == 0 ? 400 : 30;
        const int exponent = static_cast<int>(random() % static_cast<unsigned int>(2 * range)) - range;
        text += (hex ? 'p' : 'e') + std::string(exponent >= 0 && random() % 2 == 0 ? "+" : "") +
                std::to_string(exponent);
    }
    if (random() % 64 == 0) text += random() % 2 == 0 ? "inf" : "NaN";
    return text + Ends[random() % std::size(Ends)];
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 2) return 2;
    Wrong inFiles;
    std::uint64_t places = 0;
    for (int i = 2; i < argc; ++i) {
        std::ifstream file(argv[i], std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
        for (std::size_t at = 0; at < bytes.size(); ++at, ++places) Check(bytes.substr(at), inFiles);
    }
    bool good = prove::Report("texts at places of files", places, inFiles);

    const std::uint64_t count = std::strtoull(argv[1], nullptr, 10);
    Wrong wrong;
    Random random(20);
    for (std::uint64_t i = 0; i < count; ++i) Check(RandomText(random), wrong);
    good &= prove::Report("random texts", count, wrong);
    return good ? 0 : 1;
}
