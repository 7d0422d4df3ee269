#include "Summary.h"

#include <cmath>

namespace preview {

Summary::Pattern Summary::PatternOf(const Report& report)
{
    Pattern pattern{report.WithinLimits(), !report.encoding.Encoded(), {}};
    if (!pattern.refused)
        for (const LimitKind& kind : LimitKinds())
            pattern.values[static_cast<std::size_t>(kind.limit)] = kind.value(report.deviations);
    return pattern;
}

bool Summary::IsWorse(double value, double than)
{
    constexpr double Noise = 5e-7;  // is printed as 0
    return std::fabs(value) > std::fabs(than) + Noise;
}

}  // namespace preview
