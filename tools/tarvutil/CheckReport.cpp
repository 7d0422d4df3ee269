#include "CheckReport.h"

#include <cmath>

namespace {

bool Exceeds(double value, const std::optional<double>& limit)
{
    constexpr double Noise = 1e-9;  // sums of doubles end in digits that nobody asked for
    return limit && std::fabs(value) > *limit + Noise;
}

}  // namespace

CheckReport ReportOn(const Stimulator& stimulator, const Reading& reading, const Limits& limits)
{
    CheckReport report{stimulator, reading, {}, {}, false, false};
    if (!reading.Encoded()) {
        report.refusal = RefusalOf(stimulator, reading);
        return report;
    }
    const Deviations& deviations = report.deviations.emplace(DeviationsOf(stimulator, reading));
    report.netChargeExceeded = Exceeds(deviations.playedNc.NetNc(), limits.netChargeNc);
    report.errorExceeded = Exceeds(deviations.LargestErrorUsec(), limits.errorUsec);
    return report;
}
