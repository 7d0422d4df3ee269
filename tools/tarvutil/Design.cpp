#include <CLI/CLI.hpp>
#include <cmath>
#include <memory>
#include <stdexcept>

#include "Commands.h"
#include "Exit.h"
#include "Figures.h"
#include "Output.h"
#include "Reading.h"

namespace {

struct Options
{
    Stimulator stimulator;
    float amplitudeUa = 0;
    float phase1Usec = 0;
    float ipiUsec = 0;
    float frequencyHz = 0;
    float trainMsec = 0;
    int balance = 1;
    Stim::Polarity polarity = Stim::NegativeFirst;
    float offsetMsec = 0;
    std::optional<float> phase2Usec;    // without a balance mode
    std::optional<float> amplitude2Ua;  // likewise
};

// Says what differs from the request.
void Compare(const std::string& what, float asked, float got, const std::string& unit)
{
    constexpr float Rounding = 1e-6f;  // of the value: what single precision does to it on the way
    if (asked == got || std::fabs(asked - got) <= Rounding * std::fabs(asked)) return;
    Say(what + ": " + Shortest(asked) + unit + " became " + Shortest(got) + unit);
}

// The period grows for lengths that are set before the frequency is.
constexpr bool ExtendPeriod = true;

void Set(LillyPattern& pattern, const Options& options)
{
    const float sign = options.polarity == Stim::NegativeFirst ? -1.0f : 1.0f;
    pattern.SetPolarity(options.polarity);
    pattern.SetPhase1Len(options.phase1Usec, ExtendPeriod);
    pattern.SetIPI(options.ipiUsec, ExtendPeriod);
    pattern.SetChargeBalanceMode(options.balance);
    pattern.SetPhase1Amp(sign * options.amplitudeUa);
    if (!pattern.BalanceEnabled()) {
        pattern.SetPhase2Len(*options.phase2Usec, ExtendPeriod);
        pattern.SetPhase2Amp(-sign * *options.amplitude2Ua);
    }
    pattern.SetOffset(options.offsetMsec, ExtendPeriod);
    pattern.SetFrequency(options.frequencyHz);
    pattern.SetTrainLength(options.trainMsec);
}

void CompareRequest(const Options& options, LillyPattern& pattern)
{
    const float sign = options.polarity == Stim::NegativeFirst ? -1.0f : 1.0f;
    Compare("--phase1", options.phase1Usec, pattern.Phase1Len(), " us");
    Compare("--ipi", options.ipiUsec, pattern.IPI(), " us");
    Compare("--balance", static_cast<float>(options.balance), static_cast<float>(pattern.BalanceMode()), "");
    Compare("--amplitude", options.amplitudeUa, sign * pattern.Phase1Amp(), " uA");
    if (!pattern.BalanceEnabled()) {
        Compare("--phase2", *options.phase2Usec, pattern.Phase2Len(), " us");
        Compare("--amplitude2", *options.amplitude2Ua, -sign * pattern.Phase2Amp(), " uA");
    }
    Compare("--offset", options.offsetMsec, pattern.Offset(), " ms");
    Compare("--frequency", options.frequencyHz, pattern.Frequency(), " Hz");
    if (!(pattern.IsContinuous() && std::isinf(options.trainMsec)))
        Compare("--train", options.trainMsec, pattern.TrainLength(), " ms");
}

void CompareReading(const StimPattern& set, const StimPattern& read)
{
    const int count = std::min(set.PhaseCount(), read.PhaseCount());
    for (int i = 0; i < count; ++i) {
        const std::string name = "read back: phase " + std::to_string(i);
        Compare(name, set.PhaseLen(i), read.PhaseLen(i), " us");
        Compare(name, set.PhaseAmp(i), read.PhaseAmp(i), " uA");
    }
    if (!(set.IsContinuous() && read.IsContinuous()))
        Compare("read back: train", set.TrainLength(), read.TrainLength(), " ms");
    Compare("read back: frequency", set.Frequency(), read.Frequency(), " Hz");
    Compare("read back: cycles", static_cast<float>(set.CycleCount()), static_cast<float>(read.CycleCount()),
            "");
}

int Design(Options options)
{
    options.stimulator.pattern = PatternKind::Lilly;
    AnyPattern any = MakePattern(options.stimulator);
    auto& pattern = std::get<LillyPattern>(any);
    try {
        Set(pattern, options);
    } catch (const std::out_of_range&) {
        Say("the pattern cannot be repaired within the budget");
        return ExitFailed;
    }
    CompareRequest(options, pattern);

    const std::string text = "Lilly:" + pattern.ToString();
    Reader reader(options.stimulator);
    const Reading& reading = reader.Read({{}, 1}, text);
    if (!reading.Encoded()) {
        Say("no words: " + reading.failure);
        Say(text);
        return ExitFailed;
    }
    for (const std::string& warning : reading.warnings) Say("read back: " + warning);
    CompareReading(pattern, Base(reading.pattern));
    Output output;
    output.Write(text + "\n");
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
    number("--amplitude", options->amplitudeUa, "UA", "Amplitude of phase 1, microamperes", true)->required();
    number("--phase1", options->phase1Usec, "USEC", "Length of phase 1, microseconds", true)->required();
    number("--ipi", options->ipiUsec, "USEC", "Inter-phase interval, microseconds [0]", true);
    number("--frequency", options->frequencyHz, "HZ", "Pulses a second", false)->required();
    command.add_option("--train", options->trainMsec, "Length of the train, milliseconds, or inf")
        ->option_text("MSEC")
        ->check(
            [](const std::string& text) { return text == "inf" ? std::string() : FloatAbove(false)(text); })
        ->required();
    command.add_option("--balance", options->balance, "Balance mode: 0 off, 1 to 4 ratio 1, 2, 4, 8 [1]")
        ->option_text("MODE")
        ->check(CLI::Range(0, 4));
    command
        .add_option_function<std::string>(
            "--polarity",
            [options](const std::string& name) {
                options->polarity = name == "positive" ? Stim::PositiveFirst : Stim::NegativeFirst;
            },
            "Sign of phase 1: negative or positive [negative]")
        ->option_text("SIGN")
        ->check(CLI::IsMember({"negative", "positive"}));
    number("--offset", options->offsetMsec, "MSEC", "Time before phase 1, milliseconds [0]", true);
    number("--phase2", options->phase2Usec, "USEC", "With --balance 0: length of phase 2, microseconds",
           true);
    number("--amplitude2", options->amplitude2Ua, "UA",
           "With --balance 0: amplitude of phase 2, microamperes", true);
    AddStimulatorOptions(command, options->stimulator);
    command.callback([options, &exitStatus] {
        const bool off = options->balance == 0;
        if (options->phase2Usec.has_value() != off || options->amplitude2Ua.has_value() != off)
            throw CLI::ValidationError(
                "--balance 0 needs --phase2 and --amplitude2, another mode takes neither");
        exitStatus = Design(*options);
    });
}
