#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>

#include "ExitStatus.h"
#include "Fault.h"
#include "Input.h"
#include "Jobs.h"
#include "Options.h"
#include "Output.h"
#include "Report.h"

// The common part of the commands that read specification strings.
struct PatternOptions
{
    preview::Profile profile;  // what is in force
    std::string device;
    Input input;
    bool lenient = false;

    // The file whose first line may have stimulator options; empty for none.
    const std::string& PatternFile() const { return input.file; }
};

// Adds a command with these options. When it has run, exitStatus is the result of run. Options is derived from
// PatternOptions; its own options are added to the command that is returned.
template <typename Options>
CLI::App& AddPatternCommand(CLI::App& program, const std::string& name, const std::string& description,
                            const std::shared_ptr<Options>& options, int (*run)(const Options&),
                            int& exitStatus)
{
    CLI::App& command = *program.add_subcommand(name, description);
    AddInputOptions(command, options->input, "SPEC");
    command.add_flag(
        "--lenient", options->lenient,
        "Read texts as the library does, and warn of what does not plainly say what it asks for");
    AddStimulatorOptions(command, options->profile.stimulator);
    AddDeviceOption(command, options->device);
    command.callback([options, run, &command, &exitStatus] {
        if (!options->PatternFile().empty())
            options->input.reader = std::make_shared<FileReader>(options->PatternFile());
        Settle(command, options->device, options->input.reader.get(), options->profile);
        if (options->lenient && options->profile.limits.exact)
            throw Fault("--exact compares with what a text plainly asks for: give it without --lenient");
        exitStatus = run(*options);
    });
    return command;
}

// Reports on each specification string: handle(Output&, Place, Report) returns the Result of one, perhaps in another
// thread, and take(Place, Result) is called for all in their order.
template <typename Result, typename HandleReport, typename Take>
void VisitReports(const PatternOptions& options, const preview::Limits& limits, preview::Purpose purpose,
                  const Jobs& jobs, Output& output, const HandleReport& handle, const Take& take)
{
    NeedInput(options.input);
    const auto makeVisit = [&options, &limits, purpose, &handle] {
        return [&options, &limits, purpose, &handle,
                report = std::make_shared<preview::Report>(options.profile.stimulator)](
                   Output& printed, const Place& place, std::string_view text) -> Result {
            ReportOn(text, limits, options.lenient ? preview::Reading::Lenient : preview::Reading::Strict,
                     *report, purpose);
            return handle(printed, place, *report);
        };
    };
    const std::vector<std::string>& arguments = options.input.arguments;
    if (!arguments.empty()) {
        const auto visit = makeVisit();
        for (std::size_t i = 0; i < arguments.size(); ++i)
            take(Place{{}, i + 1}, visit(output, Place{{}, i + 1}, arguments[i]));
    }
    if (options.input.reader) ForEachLineInJobs<Result>(*options.input.reader, jobs, output, makeVisit, take);
}

// Prints into the output and returns whether the pattern is good.
using Handle = std::function<bool(Output&, const Place&, const preview::Report&)>;

// Prints the messages of each report, passes it to handle, and finishes the output. Returns the exit status: whether all
// patterns are good.
int ForEachReport(const PatternOptions& options, const preview::Limits& limits, preview::Purpose purpose,
                  const Jobs& jobs, Output& output, const Handle& handle);

// A file without a pattern is a failure: it is hardly the one that was meant.
void PrintNothingRead(const Input& input);

// Refuses a pattern for the limits that it exceeds: messages, and with json an object of errors.
void RefuseExcesses(Output& output, bool json, const Place& place, const preview::Report& report);
