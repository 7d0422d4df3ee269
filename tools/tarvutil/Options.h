#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

#include "Input.h"
#include "Jobs.h"
#include "Profile.h"

// The options that several commands have. The variables that they are read into must live until the command has run.

// Adds --pattern, --time-step, --amp-step, --amp-max and --budget.
void AddStimulatorOptions(CLI::App& command, preview::Stimulator& stimulator);
// All of them but --pattern.
void AddStimulatorValues(CLI::App& command, preview::Stimulator& stimulator);
// The part of them that gives words their meaning: --time-step and --amp-step.
void AddScaleOptions(CLI::App& command, preview::Stimulator& stimulator);
// Adds --area, --exact and the limits of a pattern.
void AddLimitOptions(CLI::App& command, preview::Limits& limits);
// Adds --max-total-current.
void AddTotalCurrentOption(CLI::App& command, preview::Limits& limits);
// Adds --file.
void AddFileOption(CLI::App& command, std::string& path, const std::string& what);
// Adds --device.
void AddDeviceOption(CLI::App& command, std::string& device);

// profile has the values of the command's options. Changes it to the values in force: with the device file (empty for
// none) and the first line of patternFile (null for none). Throws Fault for a fault in a file, and for values with which
// no pattern can be made or judged.
void Settle(const CLI::App& command, const std::string& device, FileReader* patternFile,
            preview::Profile& profile);
// Whether the value in force comes from an option.
bool IsOfOption(const preview::Profile& profile, std::string_view name);

// Adds the arguments, called name in the help, and --file.
void AddInputOptions(CLI::App& command, Input& input, const std::string& name);

// Adds --output, for a path called name in the help.
void AddOutputOption(CLI::App& command, std::string& path, const std::string& name, const std::string& what);

// Adds --jobs.
void AddJobsOption(CLI::App& command, Jobs& jobs);

// Adds --format; format holds the default.
void AddFormatOption(CLI::App& command, std::string& format, const std::vector<std::string>& formats);

// For a number in single precision: finite and above 0, or 0 too. Returns the fault, or nothing.
std::function<std::string(const std::string&)> FloatAbove(bool zeroToo);
