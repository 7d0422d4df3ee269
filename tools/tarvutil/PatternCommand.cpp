#include "PatternCommand.h"

#include "Json.h"
#include "Messages.h"
#include "Sentences.h"

int ForEachReport(const PatternOptions& options, const preview::Limits& limits, preview::Purpose purpose,
                  const Jobs& jobs, Output& output, const Handle& handle)
{
    int status = ExitDone;
    std::size_t patterns = 0;
    VisitReports<bool>(
        options, limits, purpose, jobs, output,
        [&handle](Output& printed, const Place& place, const preview::Report& report) {
            PrintMessages(printed, place, report);
            return handle(printed, place, report);
        },
        [&](const Place&, bool good) {
            ++patterns;
            if (!good) status = ExitFailed;
        });
    if (patterns == 0) {
        PrintNothingRead(options.input);
        return ExitFailed;
    }
    if (status == ExitDone)
        output.Finish();
    else
        output.FinishIncomplete();
    return status;
}

void PrintNothingRead(const Input& input)
{
    PrintMessage(input.file + ": no specification string");
}

void RefuseExcesses(Output& output, bool json, const Place& place, const preview::Report& report)
{
    const std::vector<std::string> errors = ExcessSentences(report.excesses);
    if (json) output.Write(preview::ErrorJson(errors, place.Text()) + '\n');
    for (const std::string& error : errors) PrintMessage(output, place, error);
}
