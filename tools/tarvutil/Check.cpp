#include <optional>

#include "CheckTable.h"
#include "Commands.h"
#include "Json.h"
#include "PatternCommand.h"

namespace {

struct Options : PatternOptions
{
    preview::Limits limits;
    std::string format = "table";
};

int Check(const Options& options)
{
    Output output;
    return ForEachReport(options, options.limits, output,
                         [&](const Place& place, const preview::Report& report) {
                             if (options.format == "json")
                                 output.Write(ReportJson(report, place.Text()) + '\n');
                             else
                                 output.Write(CheckTable(report, place.Text()));
                             return report.WithinLimits();
                         });
}

void AddLimit(CLI::App& command, preview::Limit limit, std::optional<double>& most, const char* unit,
              const std::string& what)
{
    command.add_option(std::string("--") + NameOf(limit), most, what)
        ->option_text(unit)
        ->check([](const std::string& text) {
            double value = 0;
            const bool usable = CLI::detail::lexical_cast(text, value) && value >= 0;
            return usable ? std::string() : "'" + text + "' is not a number of 0 or above";
        });
}

}  // namespace

void AddCheck(CLI::App& program, int& exitStatus)
{
    const auto options = std::make_shared<Options>();
    CLI::App& command =
        AddPatternCommand(program, "check", "Compare what is played with what specification strings ask for",
                          options, Check, exitStatus);
    AddLimit(command, preview::Limit::NetCharge, options->limits.netChargeNc, "NC",
             "Exit with 1 when a cycle leaves more net charge, nanocoulombs, of either sign [no limit]");
    AddLimit(
        command, preview::Limit::Error, options->limits.errorUsec, "USEC",
        "Exit with 1 when a phase starts farther from where it was asked to; the period's own error does "
        "not count [no limit]");
    AddFormatOption(command, options->format, {"table", "json"});
    command.footer(
        "Exit status: 0 as asked within the limits, 1 a limit is exceeded or a pattern is refused, "
        "2 the request\ncannot be carried out.");
}
