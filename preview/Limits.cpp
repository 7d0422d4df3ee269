#include "Limits.h"

#include <cmath>

namespace preview {
namespace {

void Compare(Limit limit, double value, const std::optional<double>& most, std::vector<Excess>& excesses)
{
    constexpr double Noise = 1e-9;  // sums of doubles end in digits that nobody asked for
    if (most && !(std::fabs(value) <= *most + Noise)) excesses.push_back({limit, value, *most});
}

}  // namespace

const char* NameOf(Limit limit)
{
    return limit == Limit::Error ? "max-error" : "max-net-charge";
}

const char* UnitOf(Limit limit)
{
    return limit == Limit::Error ? "us" : "nC";
}

void FindExcesses(const Limits& limits, const Deviations& deviations, std::vector<Excess>& excesses)
{
    excesses.clear();
    Compare(Limit::Error, deviations.LargestErrorUsec(), limits.errorUsec, excesses);
    Compare(Limit::NetCharge, deviations.playedNc.NetNc(), limits.netChargeNc, excesses);
}

}  // namespace preview
