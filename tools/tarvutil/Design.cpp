#include <cmath>
#include <memory>
#include <optional>

#include "Commands.h"
#include "Design.h"
#include "ExitStatus.h"
#include "Messages.h"
#include "NumberFormat.h"
#include "Options.h"
#include "Sentences.h"

using preview::DesignChange;

namespace {

struct Options
{
    preview::Stimulator stimulator;
    preview::DesignRequest request;
    std::optional<float> phase2Usec;
    std::optional<float> amplitude2Ua;
};

std::string NameOf(const DesignChange& change)
{
    switch (change.item) {
        case DesignChange::Phase1:
            return "--phase1";
        case DesignChange::IPI:
            return "--ipi";
        case DesignChange::Balance:
            return "--balance";
        case DesignChange::Amplitude:
            return "--amplitude";
        case DesignChange::Phase2:
            return "--phase2";
        case DesignChange::Amplitude2:
            return "--amplitude2";
        case DesignChange::Offset:
            return "--offset";
        case DesignChange::Frequency:
            return "--frequency";
        case DesignChange::Train:
            return "--train";
        case DesignChange::ReadTrain:
            return "read back: train";
        case DesignChange::ReadFrequency:
            return "read back: frequency";
        case DesignChange::ReadCycles:
            return "read back: cycles";
        default:
            return "read back: phase " + std::to_string(change.phase);
    }
}

const char* UnitOf(DesignChange::Item item)
{
    switch (item) {
        case DesignChange::Balance:
        case DesignChange::ReadCycles:
            return "";
        case DesignChange::Amplitude:
        case DesignChange::Amplitude2:
        case DesignChange::ReadAmplitude:
            return " uA";
        case DesignChange::Offset:
        case DesignChange::Train:
        case DesignChange::ReadTrain:
            return " ms";
        case DesignChange::Frequency:
        case DesignChange::ReadFrequency:
            return " Hz";
        default:
            return " us";
    }
}

int Design(Options options)
{
    options.stimulator.pattern = preview::PatternKind::Lilly;
    options.request.phase2Usec = options.phase2Usec.value_or(0.0f);
    options.request.amplitude2Ua = options.amplitude2Ua.value_or(0.0f);
    preview::Design design(options.stimulator);
    MakeDesign(options.request, design);
    if (!design.repairable) {
        PrintMessage("the pattern cannot be repaired within the budget");
        return ExitFailed;
    }
    for (const DesignChange& change : design.changes)
        PrintMessage(NameOf(change) + ": " + preview::Shortest(change.asked) + UnitOf(change.item) +
                     " became " + preview::Shortest(change.got) + UnitOf(change.item));
    if (!design.report.encoding.Encoded()) {
        for (const std::string& sentence : RefusalSentences(design.report))
            PrintMessage("no words: " + sentence);
        PrintMessage(design.text);
        return ExitFailed;
    }
    for (const std::string& warning : design.report.encoding.warnings) PrintMessage("read back: " + warning);
    Output output;
    output.Write(design.text + "\n");
    output.Finish();
    return ExitDone;
}

}  // namespace

void AddDesign(CLI::App& program, int& exitStatus)
{
    const auto options = std::make_shared<Options>();
    CLI::App& command = *program.add_subcommand(
        "design", "Print the specification string of a biphasic pulse by its parameters");
    const auto number = [&command](const char* name, auto& value, const char* unit, const char* what,
                                   bool zeroToo) {
        return command.add_option(name, value, what)->option_text(unit)->check(FloatAbove(zeroToo));
    };
    number("--amplitude", options->request.amplitudeUa, "UA", "Amplitude of phase 1, microamperes", true)
        ->required();
    number("--phase1", options->request.phase1Usec, "USEC", "Length of phase 1, microseconds", true)
        ->required();
    number("--ipi", options->request.ipiUsec, "USEC", "Inter-phase interval, microseconds [0]", true);
    number("--frequency", options->request.frequencyHz, "HZ", "Pulses a second", false)->required();
    command.add_option("--train", options->request.trainMsec, "Length of the train, milliseconds, or inf")
        ->option_text("MSEC")
        ->check(
            [](const std::string& text) { return text == "inf" ? std::string() : FloatAbove(false)(text); })
        ->required();
    command
        .add_option("--balance", options->request.balance, "Balance mode: 0 off, 1 to 4 ratio 1, 2, 4, 8 [1]")
        ->option_text("MODE")
        ->check(CLI::Range(0, 4));
    command
        .add_option_function<std::string>(
            "--polarity",
            [options](const std::string& name) {
                options->request.polarity = name == "positive" ? Stim::PositiveFirst : Stim::NegativeFirst;
            },
            "Sign of phase 1: negative or positive [negative]")
        ->option_text("SIGN")
        ->check(CLI::IsMember({"negative", "positive"}));
    number("--offset", options->request.offsetMsec, "MSEC", "Time before phase 1, milliseconds [0]", true);
    number("--phase2", options->phase2Usec, "USEC", "With --balance 0: length of phase 2, microseconds",
           true);
    number("--amplitude2", options->amplitude2Ua, "UA",
           "With --balance 0: amplitude of phase 2, microamperes", true);
    AddStimulatorOptions(command, options->stimulator);
    command.callback([options, &exitStatus] {
        const bool off = options->request.balance == 0;
        if (options->phase2Usec.has_value() != off || options->amplitude2Ua.has_value() != off)
            throw CLI::ValidationError(
                "--balance 0 needs --phase2 and --amplitude2, another mode takes neither");
        NeedUsable(options->stimulator);
        exitStatus = Design(*options);
    });
}
