#include <memory>

#include "Commands.h"
#include "ExitStatus.h"
#include "Json.h"
#include "Options.h"
#include "Output.h"
#include "Sentences.h"
#include "Table.h"

namespace {

struct ValueOptions
{
    preview::Profile profile;  // what is in force
    std::string device;
    std::string patterns;
    std::string format = "table";
};

std::string ValueTable(const preview::Profile& profile)
{
    Table table({"option", "value", "from"});
    for (const preview::SettingInForce& setting : InForce(profile))
        table.Add({setting.kind->name, TextWithUnit(*setting.kind, setting.value), setting.place});
    std::string text;
    table.Print(text);
    for (const preview::Loosened& loosened : profile.limits.loosened)
        text += "  warning: " + Sentence(loosened) + "\n";
    return text;
}

int PrintValues(const ValueOptions& options)
{
    Output output;
    output.Write(options.format == "json" ? ProfileJson(options.profile) + "\n"
                                          : ValueTable(options.profile));
    output.Finish();
    return ExitDone;
}

}  // namespace

void AddDevice(CLI::App& program, int& exitStatus)
{
    const auto options = std::make_shared<ValueOptions>();
    CLI::App& command = *program.add_subcommand(
        "device", "Print the values and limits that are in force, and where each comes from");
    AddFileOption(command, options->patterns, "Read the first line of a pattern file; - is standard input");
    AddStimulatorOptions(command, options->profile.stimulator);
    AddDeviceOption(command, options->device);
    AddLimitOptions(command, options->profile.limits);
    AddTotalCurrentOption(command, options->profile.limits);
    AddFormatOption(command, options->format, {"table", "json"});
    command.callback([options, &command, &exitStatus] {
        std::unique_ptr<FileReader> patterns;
        if (!options->patterns.empty()) patterns = std::make_unique<FileReader>(options->patterns);
        Settle(command, options->device, patterns.get(), options->profile);
        exitStatus = PrintValues(*options);
    });
}
