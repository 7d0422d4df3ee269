#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>

#include "ExitStatus.h"
#include "Input.h"
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
        exitStatus = run(*options);
    });
    return command;
}

using Handle = std::function<bool(const Place&, const preview::Report&)>;

// Reports on each specification string and passes the report to handle, which returns whether the pattern is good.
// Returns the exit status: whether all patterns are good.
int VisitReports(const PatternOptions& options, const preview::Limits& limits, Output& output,
                 const Handle& handle, preview::Purpose purpose = preview::Purpose::Everything);

// Likewise, prints the messages of each report before it is handled, and finishes the output.
int ForEachReport(const PatternOptions& options, const preview::Limits& limits, Output& output,
                  const Handle& handle, preview::Purpose purpose = preview::Purpose::Everything);

// Refuses a pattern for the limits that it exceeds: messages, and with json an object of errors.
void RefuseExcesses(Output& output, bool json, const Place& place, const preview::Report& report);
