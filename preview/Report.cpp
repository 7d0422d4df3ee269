#include "Report.h"

#include "CurrentPhases.h"

namespace preview {
namespace {

void Compare(const Limits& limits, Report& report)
{
    report.excesses.clear();
    report.limits = limits;
    if (!report.encoding.Encoded()) return;
    FindDeviations(report.stimulator, report.encoding, report.deviations);
    const bool repeats = !(report.deviations.cycles.played <= 1);
    report.deviations.current = FiguresOf(report.encoding.words, report.stimulator.Scale(), repeats);
    report.deviations.areaCm2 = limits.areaCm2;
    FindExcesses(report.stimulator, limits, report.deviations, report.excesses);
}

}  // namespace

void ReportOn(std::string_view text, const Limits& limits, Reading reading, Report& report)
{
    Encode(report.stimulator, text, reading, report.encoding);
    Compare(limits, report);
}

void ReportOn(const AnyPattern& pattern, const Limits& limits, Report& report)
{
    Encode(report.stimulator, pattern, report.encoding);
    Compare(limits, report);
}

}  // namespace preview
