#include "Report.h"

#include "CurrentPhases.h"

namespace preview {
namespace {

void Compare(const Limits& limits, Report& report, Purpose purpose = Purpose::Everything)
{
    report.excesses.clear();
    report.limits = limits;
    Encoding& encoding = report.encoding;
    if (!encoding.Encoded()) return;
    const bool limited = limits.Any();
    if (purpose == Purpose::Warnings && !limited &&
        FindDeviationsOfTrain(report.stimulator, encoding, report.deviations))
        return;
    TraceWords(Base(encoding.pattern), report.stimulator.Scale(), encoding.words, encoding.trace);
    FindDeviations(report.stimulator, encoding, report.deviations);
    if (purpose == Purpose::Everything || limited) {
        const bool repeats = !(report.deviations.cycles.played <= 1);
        report.deviations.current = FiguresOf(encoding.words, report.stimulator.Scale(), repeats);
    }
    report.deviations.areaCm2 = limits.areaCm2;
    if (limited) FindExcesses(report.stimulator, limits, report.deviations, report.excesses);
}

}  // namespace

void ReportOn(std::string_view text, const Limits& limits, Reading reading, Report& report, Purpose purpose)
{
    Encode(report.stimulator, text, reading, report.encoding);
    Compare(limits, report, purpose);
}

void ReportOn(const AnyPattern& pattern, const Limits& limits, Report& report)
{
    Encode(report.stimulator, pattern, report.encoding);
    Compare(limits, report);
}

}  // namespace preview
