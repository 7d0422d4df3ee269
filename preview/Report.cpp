#include "Report.h"

namespace preview {

void ReportOn(std::string_view text, const Limits& limits, Reading reading, Report& report)
{
    report.excesses.clear();
    Encode(report.stimulator, text, reading, report.encoding);
    if (!report.encoding.Encoded()) return;
    FindDeviations(report.stimulator, report.encoding, report.deviations);
    FindExcesses(limits, report.deviations, report.excesses);
}

}  // namespace preview
