#include <memory>

#include "Commands.h"
#include "DesignParameters.h"
#include "ExitStatus.h"
#include "Fault.h"
#include "Messages.h"
#include "Options.h"
#include "Sentences.h"
#include "SentencesOfDesign.h"

using preview::DesignRequest;

namespace {

constexpr const char* Dashes = "--";  // before the name of an option

struct DesignOptions
{
    preview::Profile profile;  // what is in force
    std::string device;
    preview::DesignParameters parameters;
};

// --- Making ---

void PrintRefusal(const std::string& prefix, const preview::Design& design)
{
    if (design.outOfReach) return PrintMessage(prefix + Sentence(*design.outOfReach));
    for (const std::string& sentence : RefusalSentences(design.report))
        PrintMessage(prefix + "no words: " + sentence);
    for (const std::string& sentence : AdviceSentences(AdviceOn(design.report)))
        PrintMessage(prefix + sentence);
}

// False without a text, or when a difference from the request exceeds a limit.
bool MakeLine(const DesignRequest& request, const std::string& prefix, const preview::Limits& limits,
              preview::Design& design)
{
    MakeDesign(request, design, limits);
    if (design.text.empty()) {
        PrintRefusal(prefix, design);
        return false;
    }
    for (const std::string& sentence : ChangeSentences(design)) PrintMessage(prefix + sentence);
    for (const std::string& sentence : ExcessSentences(design.excesses)) PrintMessage(prefix + sentence);
    return design.excesses.empty();
}

int RunDesign(const DesignOptions& options)
{
    std::vector<DesignRequest> requests;
    const preview::SequenceRequest sequence = options.parameters.Request();
    if (const auto fault = MakeSequence(sequence, options.profile.stimulator, requests))
        throw Fault("design: " + Sentence(*fault, Dashes));
    std::string lines;
    bool made = true;
    for (const preview::Loosened& loosened : options.profile.limits.loosened)
        PrintMessage("warning: " + Sentence(loosened));
    preview::Stimulator stimulator = options.profile.stimulator;
    stimulator.pattern = KindOf(sequence.pulse);
    preview::Design design(stimulator);
    for (const DesignRequest& request : requests) {
        const std::string prefix = requests.size() > 1 ? request.name + ": " : "";
        made = MakeLine(request, prefix, options.profile.limits, design) && made;
        lines += design.text + "\n";
    }
    if (!made) return ExitFailed;
    if (stimulator.pattern == preview::PatternKind::Plain)
        PrintMessage("a burst is a plain pattern: give the other commands --pattern plain");
    Output output;
    output.Write(lines);
    output.Finish();
    return ExitDone;
}

void AddParameter(CLI::App& command, const preview::DesignParameter& parameter,
                  preview::DesignParameters& parameters)
{
    const std::string option = std::string(Dashes) + parameter.name;
    const auto set = [option, &parameter, &parameters](const std::string& text) {
        const std::string fault = parameter.set(parameters, text);
        if (!fault.empty()) throw CLI::ValidationError(option, fault);
    };
    command.add_option_function<std::string>(option, set, parameter.what)
        ->option_text(parameter.unit)
        ->required(parameter.needed);
}

}  // namespace

void AddDesign(CLI::App& program, int& exitStatus)
{
    const auto options = std::make_shared<DesignOptions>();
    CLI::App& command = *program.add_subcommand(
        "design", "Print the specification strings of biphasic pulses and bursts by their parameters");
    for (const preview::DesignParameter& parameter : preview::AllDesignParameters())
        AddParameter(command, parameter, options->parameters);
    AddLimitOptions(command, options->profile.limits);
    AddStimulatorValues(command, options->profile.stimulator);
    AddDeviceOption(command, options->device);
    command.callback([options, &command, &exitStatus] {
        const std::string fault = options->parameters.Inconsistent(Dashes);
        if (!fault.empty()) throw CLI::ValidationError(fault);
        Settle(command, options->device, nullptr, options->profile);
        exitStatus = RunDesign(*options);
    });
}
