// Every float through what the library does to a single float: printed, read back, made a whole number, cut into
// amplitude steps and into time steps.
//
//     prove-floats [EVERY]      every float, or each EVERYth
//
// Exit 1 when anything was wrong.

#include <cmath>
#include <cstdlib>
#include <limits>

#include "NumberText.h"
#include "Numbers.h"
#include "Sweep.h"
#include "TimeSteps.h"

// The source of NumberText.h once more, with decimal numbers read by fast_float.
namespace TarvUtil::ByFastFloat {
double ReadNumber(std::string_view text);
char* WriteNumber(char* out, float value);
}  // namespace TarvUtil::ByFastFloat

namespace {

using namespace TarvUtil::Internal;
using prove::BitsOf;
using prove::Wrong;

// --- Printing and reading back ---

// Takes the floats that are not negative, and checks each with both signs.
struct PrintingCheck
{
    void operator()(float value)
    {
        char expected[64] = "-nan";
        int size = 4;
        if (!std::isnan(value))
            size = 1 + std::snprintf(expected + 1, sizeof expected - 1, "%f", static_cast<double>(value));
        const std::string_view negative(expected, static_cast<std::size_t>(size));
        const std::string_view text = negative.substr(1);
        // A NaN has no sign.
        if (!Prints(value, text) || !Prints(-value, std::isnan(value) ? text : negative))
            wrong.Add(std::string(text) + " is printed otherwise");
        if (std::isnan(value) || (text == read && value < 16)) return;  // the same text reads the same
        read = text;
        ReadBack(value, negative);
    }

    // By both ways of compiling the source.
    static bool Prints(float value, std::string_view expected)
    {
        char text[NumberRoom];
        char other[NumberRoom];
        const char* const end = WriteNumber(text, value);
        const char* const otherEnd = TarvUtil::ByFastFloat::WriteNumber(other, value);
        return expected == std::string_view(text, static_cast<std::size_t>(end - text)) &&
               expected == std::string_view(other, static_cast<std::size_t>(otherEnd - other));
    }

    // From 16 on two neighbours differ by more than a millionth: each has a text of its own.
    void ReadBack(float value, std::string_view negative)
    {
        const std::string_view text = negative.substr(1);
        const double expected = std::strtod(text.data(), nullptr);
        const double found = ReadNumber(text);
        if (found != expected || TarvUtil::ByFastFloat::ReadNumber(text) != expected ||
            ReadNumber(negative) != -expected)
            wrong.Add(std::string(text) + " is not read as by strtod");
        if (value >= 16 && BitsOf(static_cast<float>(found)) != BitsOf(value))
            wrong.Add(std::string(text) + " does not read back");
        ++texts;
    }

    void Merge(const PrintingCheck& other)
    {
        wrong.Merge(other.wrong);
        texts += other.texts;
    }

    Wrong wrong;
    std::string read;
    std::uint64_t texts = 0;
};

// --- Whole numbers ---

// The whole part of a finite float, toward zero or down, by integers of 64 bits: exact from its bits; 2^62 and above
// as 2^62.
std::int64_t WholePart(float value, bool down)
{
    const std::uint32_t bits = BitsOf(value);
    const std::int64_t mantissa = (bits & 0x7FFFFF) | ((bits >> 23 & 255) != 0 ? 0x800000 : 0);
    const int exponent = std::max(static_cast<int>(bits >> 23 & 255), 1) - 150;
    const bool negative = bits >> 31 != 0;
    if (exponent > 38) return (negative ? -1 : 1) * (std::int64_t{1} << 62);
    if (exponent >= 0) return (negative ? -mantissa : mantissa) * (std::int64_t{1} << exponent);
    const int shift = std::min(-exponent, 40);
    const std::int64_t whole = mantissa >> shift;
    const bool rest = mantissa != whole << shift;
    return negative ? -whole - (down && rest ? 1 : 0) : whole;
}

std::int64_t Limited(std::int64_t value, std::int64_t least, std::int64_t largest)
{
    return std::min(std::max(value, least), largest);
}

struct WholeCheck
{
    void operator()(float value)
    {
        using Int = std::numeric_limits<int>;
        bool right = false;
        if (std::isnan(value)) {
            right = ToInt(value) == 0 && FloorToInt(value) == 0 && ToInt64(value) == 0 && !FitsInt(value);
        } else {
            const std::int64_t whole = WholePart(value, false);
            right = ToInt(value) == Limited(whole, Int::min(), Int::max()) &&
                    FloorToInt(value) == Limited(WholePart(value, true), Int::min(), Int::max()) &&
                    FitsInt(value) == (whole >= Int::min() && whole <= Int::max()) &&
                    SaturateToInt(whole) == ToInt(value);
            // Below 2^62 as they are, from 2^63 on saturated; between the two they are exact in a double.
            const double exact = static_cast<double>(value);
            if (std::fabs(value) < 0x1p62f)
                right = right && ToInt64(value) == whole;
            else if (std::fabs(value) < 0x1p63f)
                right = right && static_cast<double>(ToInt64(value)) == exact;
            else
                right = right && ToInt64(value) == (value > 0 ? INT64_MAX : INT64_MIN);
        }
        if (!right) wrong.Add(std::to_string(value) + " is made another whole number");
    }

    void Merge(const WholeCheck& other) { wrong.Merge(other.wrong); }

    Wrong wrong;
};

// --- Amplitude steps ---

struct AmplitudeCheck
{
    explicit AmplitudeCheck(float ampStepUa) : step(ampStepUa) {}

    // Up to 101 steps: 0 <= |a| - |x| <= A to within 2^-17 A, and x has the sign of a or is 0.
    void operator()(float amp)
    {
        if (!(std::fabs(amp) <= 101 * step)) return;
        const int steps = ToInt(AmplitudeSteps(amp, step));
        const double exactStep = static_cast<double>(step);
        const double lost = std::fabs(static_cast<double>(amp)) - std::abs(steps) * exactStep;
        const double slack = exactStep * 0x1p-17;
        ++count;
        if (lost < -slack || lost > exactStep + slack || (steps != 0 && (steps < 0) != (amp < 0)))
            wrong.Add(std::to_string(amp) + " uA is " + std::to_string(steps) + " steps");
    }

    void Merge(const AmplitudeCheck& other)
    {
        wrong.Merge(other.wrong);
        count += other.count;
    }

    float step;
    Wrong wrong;
    std::uint64_t count = 0;
};

// --- Time steps ---

struct CuttingCheck
{
    explicit CuttingCheck(float timeStepUsec) : step(timeStepUsec) {}

    void operator()(float time)
    {
        const StepCut cut = CutIntoSteps(time, step);
        // In double a quotient, sum or product of two floats, rounded to a float, is rounded once.
        const double exactTime = static_cast<double>(time);
        const double exactStep = static_cast<double>(step);
        const auto steps = static_cast<float>(exactTime / exactStep);
        const auto shifted = static_cast<float>(static_cast<double>(steps) + static_cast<double>(0.015f));
        const std::int64_t count = WholePart(shifted, true);
        const auto rest =
            static_cast<float>((static_cast<double>(steps) - static_cast<double>(count)) * exactStep);
        if (cut.count != count || BitsOf(cut.rest) != BitsOf(rest)) Complain(time, "not as described");

        // Against the pencil: time and count T have 53 bits between them, so the leftover is exact.
        const double leftover = exactTime - static_cast<double>(cut.count) * exactStep;
        const double bound = (exactTime + exactStep) * 0x1p-22;
        const double error = std::fabs(static_cast<double>(cut.rest) - leftover);
        const double beyond = std::max(-0.015 * exactStep - leftover, leftover - 0.985 * exactStep);
        if (error > bound || beyond > bound) Complain(time, "beyond the bound");
        largest = std::max(largest, error);
        share = std::max(share, std::max(error, beyond) / bound);
    }

    void Complain(float time, const char* what)
    {
        char text[100];
        std::snprintf(text, sizeof text, "%.9g us on a step of %.9g us: %s", static_cast<double>(time),
                      static_cast<double>(step), what);
        wrong.Add(text);
    }

    void Merge(const CuttingCheck& other)
    {
        wrong.Merge(other.wrong);
        largest = std::max(largest, other.largest);
        share = std::max(share, other.share);
    }

    float step;
    Wrong wrong;
    double largest = 0;  // error of a leftover, microseconds
    double share = 0;    // of the bound
};

}  // namespace

int main(int argc, char** argv)
{
    const std::uint64_t every = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 1;
    if (every == 0) return 2;
    using prove::AllFloats, prove::Report, prove::Sweep;
    bool good = true;

    for (const float step : {0.1f, 0.2f, 0.25f, 0.5f, 1.0f, 2.5f, 5.0f, 7.5f, 10.0f, 12.5f, 20.0f}) {
        const auto found = Sweep(0, AllFloats, every, AmplitudeCheck(step));
        good &= Report("amplitude steps of " + std::to_string(step) + " uA", found.count, found.wrong);
    }

    const std::uint64_t beyond = BitsOf(1e9f) + 1;
    std::printf(
        "| Time step | Lengths | Wrong | Largest error, us | Of the bound, at most "
        "|\n|--:|--:|--:|--:|--:|\n");
    for (const float step : {0.5f, 0.9f, 1.0f, 2.0f, 4.0f, 8.0f, 10.0f, 10.9f, 16.0f, 20.0f, 25.0f, 32.0f,
                             33.333332f, 40.6f, 50.0f, 64.0f, 100.0f, 1000.0f}) {
        const auto found = Sweep(0, beyond, every, CuttingCheck(step));
        std::printf("| %.8g | %llu | %llu | %.3f | %.1f %% |\n", static_cast<double>(step),
                    static_cast<unsigned long long>((beyond + every - 1) / every),
                    static_cast<unsigned long long>(found.wrong.count), found.largest, 100 * found.share);
        if (found.wrong.count > 0) std::printf("    first: %s\n", found.wrong.first.c_str());
        std::fflush(stdout);
        good &= found.wrong.count == 0;
    }

    const auto whole = Sweep(0, AllFloats, every, WholeCheck());
    good &= Report("whole numbers", (AllFloats + every - 1) / every, whole.wrong);

    const auto printing = Sweep(0, AllFloats / 2, every, PrintingCheck());
    good &= Report("printed, each with both signs", (AllFloats / 2 + every - 1) / every, printing.wrong);
    std::printf("    %llu texts read back\n", static_cast<unsigned long long>(printing.texts));
    return good ? 0 : 1;
}
