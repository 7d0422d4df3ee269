#pragma once

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <limits>

// Float to integer without undefined behaviour, and the other small number rules that several sources share.
namespace TarvUtil::Internal {

// The words must not depend on the processor: every operation on floats rounds to a float.
static_assert(std::numeric_limits<float>::is_iec559, "float must be IEEE 754 single precision");
static_assert(FLT_EVAL_METHOD == 0, "on i386 build with -msse2 -mfpmath=sse");

constexpr float LargestFloat = std::numeric_limits<float>::max();
constexpr float UsecPerMsec = 1000.0f;

// In periods: a train this near to a whole number of periods has that number of cycles, because a period is a sum of
// rounded lengths. Checked with the stimulators in the field.
constexpr float CycleTolerance = 0.01f;

// Whether the whole part of value is an int; false for NaN.
inline bool FitsInt(float value)
{
    return value >= -2147483648.0f && value < 2147483648.0f;
}

template <typename Int>
Int ToInteger(float value)
{
    // 2 to the number of value bits: the first float that does not fit, and minus it the last that does.
    constexpr float Beyond =
        static_cast<float>(std::int64_t{1} << (std::numeric_limits<Int>::digits - 1)) * 2.0f;
    if (value < Beyond && value >= -Beyond) return static_cast<Int>(value);
    if (value >= Beyond) return std::numeric_limits<Int>::max();
    return value < 0 ? std::numeric_limits<Int>::min() : 0;
}

// The whole part, toward zero; saturates, and gives 0 for NaN.
inline int ToInt(float value)
{
    return ToInteger<int>(value);
}

inline std::int64_t ToInt64(float value)
{
    return ToInteger<std::int64_t>(value);
}

// The largest whole number not above value; saturates, and gives 0 for NaN.
inline int FloorToInt(float value)
{
    const int whole = ToInt(value);
    if (!(value < 0) || static_cast<float>(whole) <= value) return whole;
    return whole > std::numeric_limits<int>::min() ? whole - 1 : whole;
}

inline int SaturateToInt(std::int64_t value)
{
    if (value > std::numeric_limits<int>::max()) return std::numeric_limits<int>::max();
    if (value < std::numeric_limits<int>::min()) return std::numeric_limits<int>::min();
    return static_cast<int>(value);
}

inline std::int64_t SaturatingAdd(std::int64_t a, std::int64_t b)
{
    using Limits = std::numeric_limits<std::int64_t>;
    if (b > 0 && a > Limits::max() - b) return Limits::max();
    if (b < 0 && a < Limits::min() - b) return Limits::min();
    return a + b;
}

// One more; after the largest int a count starts again at 0.
inline int NextCount(int count)
{
    return count == std::numeric_limits<int>::max() ? 0 : count + 1;
}

// An amplitude within the range of -max to max. A NaN stays NaN, and with a NaN range the result is NaN: neither is
// played as a current.
inline float ClampAmplitude(float amp, float max)
{
    if (amp > 0) return amp < max ? amp : max;
    return amp >= -max || std::isnan(amp) ? amp : -max;
}

}  // namespace TarvUtil::Internal
