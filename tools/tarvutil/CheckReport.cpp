#include "CheckReport.h"

#include <cmath>

namespace {

void Hold(double value, const std::optional<double>& limit, const char* option, const char* unit,
          std::vector<Excess>& exceeded)
{
    constexpr double Noise = 1e-9;  // sums of doubles end in digits that nobody asked for
    if (limit && std::fabs(value) > *limit + Noise) exceeded.push_back({option, unit, value, *limit});
}

}  // namespace

CheckReport ReportOn(const Stimulator& stimulator, const Reading& reading, const Limits& limits)
{
    CheckReport report{stimulator, reading, {}, {}, {}};
    if (!reading.Encoded()) {
        report.refusal = RefusalOf(stimulator, reading);
        return report;
    }
    const Deviations& deviations = report.deviations.emplace(DeviationsOf(stimulator, reading));
    Hold(deviations.LargestErrorUsec(), limits.errorUsec, MaxErrorOption, "us", report.exceeded);
    Hold(deviations.playedNc.NetNc(), limits.netChargeNc, MaxNetChargeOption, "nC", report.exceeded);
    return report;
}
