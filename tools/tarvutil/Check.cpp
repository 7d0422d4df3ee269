#include <algorithm>
#include <cctype>
#include <optional>

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
    preview::Limits limits;
    std::string format = "table";
    bool steps = false;
};

void PrintSummary(const preview::Summary& summary, const std::string& format, Output& output)
{
    if (summary.patterns < 2) return;
    output.Write((format == "json" ? SummaryJson(summary) : Sentence(summary)) + '\n');
}

void NeedArea(const preview::Limits& limits)
{
    for (const preview::LimitKind& kind : preview::LimitKinds())
        if (kind.needsArea && limits.most[static_cast<std::size_t>(kind.limit)] && !limits.areaCm2)
            throw Fault(std::string("--") + kind.name +
                        " needs the area of the electrode: --area, as in --area 0.06mm2");
}

int Check(const CheckOptions& options)
{
    NeedArea(options.limits);
    const bool json = options.format == "json";
    Output output;
    preview::Summary summary;
    int status = ExitFailed;
    try {
        status = VisitReports(options, options.limits, output,
                              [&](const Place& place, const preview::Report& report) {
                                  // The table has the messages, too.
                                  if (json || !output.IsMessageTerminal())
                                      PrintMessages(output, place, report);
                                  const std::string where = place.Text();
                                  const std::vector<preview::StepRow> steps =
                                      options.steps ? StepRows(report) : std::vector<preview::StepRow>();
                                  output.Write(json ? ReportJson(report, where, steps) + '\n'
                                                    : CheckTable(report, where) + StepTable(steps));
                                  summary.Add(report, [&] { return where; });
                                  return report.WithinLimits();
                              });
        if (summary.patterns == 0) {
            status = ExitFailed;
            PrintMessage(options.input.file + ": no specification string to check");
        }
        PrintSummary(summary, options.format, output);
        output.Finish();
    } catch (const ReaderGone&) {
        // What was not checked is not known to be good: status says so, or what was found.
    }
    return status;
}

// "us" -> "USEC", "nC" -> "NC"
std::string Placeholder(std::string unit)
{
    if (unit == "us") return "USEC";
    if (unit == "uC/cm2") return "UC_PER_CM2";
    if (unit == "%") return "PCT";
    if (unit == "(k)") return "K";
    std::transform(unit.begin(), unit.end(), unit.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return unit;
}

void AddLimit(CLI::App& command, const preview::LimitKind& kind, preview::Limits& limits)
{
    std::optional<double>& most = limits[kind.limit];
    const std::string option = std::string("--") + kind.name;
    if (kind.limit == preview::Limit::WholeCycles) {
        command.add_flag_callback(
            option, [&most] { most = 0; },
            "Exit with 1 when not exactly as many cycles are played as the train asks for");
        return;
    }
    command
        .add_option(
            option, most,
            std::string("Exit with 1 when the ") + kind.what + " is larger, of either sign [no limit]")
        ->option_text(Placeholder(kind.unit))
        ->check([](const std::string& text) {
            double value = 0;
            const bool usable = CLI::detail::lexical_cast(text, value) && value >= 0;
            return usable ? std::string() : "'" + text + "' is not a number of 0 or above";
        });
}

}  // namespace

void AddCheck(CLI::App& program, int& exitStatus)
{
    const auto options = std::make_shared<CheckOptions>();
    CLI::App& command =
        AddPatternCommand(program, "check", "Compare what is played with what specification strings ask for",
                          options, Check, exitStatus);
    for (const preview::LimitKind& kind : preview::LimitKinds()) AddLimit(command, kind, options->limits);
    command
        .add_option_function<std::string>(
            "--area",
            [options](const std::string& text) { options->limits.areaCm2 = preview::ReadAreaCm2(text); },
            "Geometric area of the electrode with its unit, um2, mm2 or cm2: for charge density and k")
        ->option_text("AREA")
        ->check([](const std::string& text) {
            return preview::ReadAreaCm2(text)
                       ? std::string()
                       : "'" + text + "' is not an area above 0 with its unit, as 0.06mm2";
        });
    command.add_flag(
        "--exact", options->limits.exact,
        "Exit with 1 when anything but the net charge is not as asked, to the rounding of floats");
    command.add_flag("--steps", options->steps, "Also print how each usual time step plays the pattern");
    AddFormatOption(command, options->format, {"table", "json"});
    command.footer(
        "Exit status: 0 as asked within the limits, 1 a limit is exceeded, a pattern is refused, nothing "
        "was\n"
        "read or not all of it was checked, 2 the request cannot be carried out.");
}
