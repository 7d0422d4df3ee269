#include "CheckTable.h"
#include "Commands.h"
#include "Fault.h"
#include "Json.h"
#include "Messages.h"
#include "PatternCommand.h"
#include "Sentences.h"

namespace {

struct CheckOptions : PatternOptions
{
    Jobs jobs;
    std::string format = "table";
    bool steps = false;
};

void PrintSummary(const preview::Summary& summary, const std::string& format, Output& output)
{
    if (summary.patterns < 2) return;
    output.Write((format == "json" ? SummaryJson(summary) : Sentence(summary)) + '\n');
}

void PrintReport(const CheckOptions& options, Output& output, const Place& place,
                 const preview::Report& report)
{
    const bool json = options.format == "json";
    const preview::Advice advice = AdviceOn(report);
    // The table has the messages, too.
    if (json || !output.IsMessageTerminal()) PrintMessages(output, place, report, advice);
    const std::vector<preview::StepRow> steps =
        options.steps ? StepRows(report) : std::vector<preview::StepRow>();
    const std::string where = place.Text();
    output.Write(json ? ReportJson(report, where, advice, steps) + '\n'
                      : CheckTable(report, advice, where) + StepTable(steps));
}

int Check(const CheckOptions& options)
{
    Output output;
    preview::Summary summary;
    int status = ExitFailed;
    try {
        int visited = ExitDone;
        VisitReports<preview::Summary::Pattern>(
            options, options.profile.limits, preview::Purpose::Everything, options.jobs, output,
            [&options](Output& printed, const Place& place, const preview::Report& report) {
                PrintReport(options, printed, place, report);
                return preview::Summary::PatternOf(report);
            },
            [&](const Place& place, const preview::Summary::Pattern& pattern) {
                if (!pattern.within) visited = ExitFailed;
                summary.Add(pattern, [&] { return place.Text(); });
            });
        status = visited;
        if (summary.patterns == 0) {
            status = ExitFailed;
            PrintNothingRead(options.input);
        }
        PrintSummary(summary, options.format, output);
        output.Finish();
    } catch (const ReaderGone&) {
        // If some patterns were not checked, status is still that of a failure: they can be faulty.
    }
    return status;
}

}  // namespace

void AddCheck(CLI::App& program, int& exitStatus)
{
    const auto options = std::make_shared<CheckOptions>();
    CLI::App& command =
        AddPatternCommand(program, "check", "Compare what is played with what specification strings ask for",
                          options, Check, exitStatus);
    AddLimitOptions(command, options->profile.limits);
    command.add_flag("--steps", options->steps, "Also print how each usual time step plays the pattern");
    AddFormatOption(command, options->format, {"table", "json"});
    AddJobsOption(command, options->jobs);
    command.footer(
        "Exit status: 0 as asked within the limits, 1 a limit is exceeded, a pattern is refused, nothing "
        "was\n"
        "read or not all of it was checked, 2 the request cannot be carried out.");
}
