#include "Summary.h"

#include <cmath>

namespace preview {

void Summary::Count(const Report& report)
{
    ++patterns;
    if (report.WithinLimits()) ++within;
    if (!report.encoding.Encoded()) ++refused;
}

bool Summary::IsWorse(double value, double than)
{
    constexpr double Noise = 5e-7;  // is printed as 0
    return std::fabs(value) > std::fabs(than) + Noise;
}

}  // namespace preview
