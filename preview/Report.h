#pragma once

#include <string_view>
#include <vector>

#include "Deviations.h"
#include "Encoding.h"
#include "Limits.h"

// All that is known about one specification string before it is played.
namespace preview {

struct Report
{
    // A place for reports on patterns for that stimulator, of which no value is unusable.
    explicit Report(const Stimulator& s) : stimulator(s), encoding(s) {}

    const Stimulator stimulator;
    Encoding encoding;
    Deviations deviations;         // when there are words; otherwise encoding.refusal has the reason
    std::vector<Excess> excesses;  // of the limits
    Limits limits;                 // those it was compared with

    bool WithinLimits() const { return encoding.Encoded() && excesses.empty(); }
};

// What a report is made for.
enum class Purpose
{
    Everything,
    // Words and warnings. Without a limit, the figures of the current are missing, and if nothing but the train is
    // notable, the other deviations may be, too: they have no phases.
    Warnings,
};

// Reports on a text. Uses the memory of report.
void ReportOn(std::string_view text, const Limits& limits, Reading reading, Report& report,
              Purpose purpose = Purpose::Everything);
// Reports on the present state of a pattern of the same stimulator.
void ReportOn(const AnyPattern& pattern, const Limits& limits, Report& report);

}  // namespace preview
