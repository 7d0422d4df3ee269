#include "PatternCommand.h"

#include "Messages.h"

int VisitReports(const PatternOptions& options, const preview::Limits& limits, Output& output,
                 const Handle& handle)
{
    preview::Report report(options.stimulator);
    const preview::Reading reading = options.lenient ? preview::Reading::Lenient : preview::Reading::Strict;
    int status = ExitDone;
    ForEachText(
        options.input, [&output] { output.Flush(); },
        [&](const Place& place, std::string_view text) {
            ReportOn(text, limits, reading, report);
            if (!handle(place, report)) status = ExitFailed;
        });
    return status;
}

int ForEachReport(const PatternOptions& options, const preview::Limits& limits, Output& output,
                  const Handle& handle)
{
    const int status =
        VisitReports(options, limits, output, [&](const Place& place, const preview::Report& report) {
            PrintMessages(output, place, report);
            return handle(place, report);
        });
    output.Finish();
    return status;
}
