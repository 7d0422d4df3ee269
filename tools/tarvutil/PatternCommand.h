#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>

#include "Exit.h"
#include "Input.h"
#include "Output.h"
#include "Reading.h"

// What the commands that read specification strings have in common.
struct PatternOptions
{
    Stimulator stimulator;
    Input input;
};

// Adds a command with these options. When it has run, exitStatus holds what run has returned. Options is derived
// from PatternOptions; the options that are its own are added to the command that is returned.
template <typename Options>
CLI::App& AddPatternCommand(CLI::App& program, const std::string& name, const std::string& description,
                            const std::shared_ptr<Options>& options, int (*run)(const Options&),
                            int& exitStatus)
{
    CLI::App& command = *program.add_subcommand(name, description);
    AddInputOptions(command, options->input, "SPEC");
    AddStimulatorOptions(command, options->stimulator);
    command.callback([options, run, &exitStatus] { exitStatus = run(*options); });
    return command;
}

// Encodes each specification string, prints its messages and hands it to handle, which says whether it is good.
// Returns the exit status: whether all were.
int ForEachReading(const PatternOptions& options, Output& output,
                   const std::function<bool(const Reading&)>& handle);
