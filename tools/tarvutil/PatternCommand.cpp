#include "PatternCommand.h"

#include "Messages.h"

int ForEachReport(const PatternOptions& options, const preview::Limits& limits, Output& output,
                  const Handle& handle)
{
    preview::Report report(options.stimulator);
    const preview::Reading reading = options.lenient ? preview::Reading::Lenient : preview::Reading::Strict;
    int status = ExitDone;
    ForEachText(
        options.input, [&output] { output.Flush(); },
        [&](const Place& place, std::string_view text) {
            ReportOn(text, limits, reading, report);
            PrintMessages(output, place, report);
            if (!handle(place, report)) status = ExitFailed;
        });
    output.Finish();
    return status;
}
