#include "PatternCommand.h"

#include "Json.h"
#include "Messages.h"
#include "Sentences.h"

int VisitReports(const PatternOptions& options, const preview::Limits& limits, Output& output,
                 const Handle& handle, preview::Purpose purpose)
{
    preview::Report report(options.profile.stimulator);
    const preview::Reading reading = options.lenient ? preview::Reading::Lenient : preview::Reading::Strict;
    int status = ExitDone;
    ForEachText(
        options.input, [&output] { output.Flush(); },
        [&](const Place& place, std::string_view text) {
            ReportOn(text, limits, reading, report, purpose);
            if (!handle(place, report)) status = ExitFailed;
        });
    return status;
}

int ForEachReport(const PatternOptions& options, const preview::Limits& limits, Output& output,
                  const Handle& handle, preview::Purpose purpose)
{
    const auto print = [&](const Place& place, const preview::Report& report) {
        PrintMessages(output, place, report);
        return handle(place, report);
    };
    const int status = VisitReports(options, limits, output, print, purpose);
    output.Finish();
    return status;
}

void RefuseExcesses(Output& output, bool json, const Place& place, const preview::Report& report)
{
    const std::vector<std::string> errors = ExcessSentences(report.excesses);
    if (json) output.Write(preview::ErrorJson(errors, place.Text()) + '\n');
    for (const std::string& error : errors) PrintMessage(output, place, error);
}
