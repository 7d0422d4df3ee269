#include <cmath>
#include <memory>
#include <optional>

#include "Commands.h"
#include "ExitStatus.h"
#include "Fault.h"
#include "Messages.h"
#include "Options.h"
#include "Sentences.h"
#include "SentencesOfDesign.h"
#include "Sequence.h"

using preview::DesignRequest;
using preview::SequenceFault;

namespace {

struct DesignOptions
{
    preview::Profile profile;  // what is in force
    std::string device;
    preview::SequenceRequest sequence;
    std::optional<std::string> name;
    std::optional<double> trainMsec, onSec, offSec, phase2Usec, amplitude2Ua, burstHz;
    std::optional<std::int64_t> pulses, burst;
    bool exact = false;
};

const char* SentenceOf(SequenceFault fault)
{
    switch (fault) {
        case SequenceFault::TooLong:
            return "more than 100000 lines";
        case SequenceFault::PartBurst:
            return "--pulses, --ramp-up and --ramp-down are to be multiples of --burst";
        case SequenceFault::RampTooLong:
            return "the ramps have more pulses than the train";
        default:
            return "a train without end has no --ramp-down and no --times";
    }
}

// --- Making ---

void PrintRefusal(const std::string& prefix, const preview::Design& design)
{
    if (design.outOfReach) return PrintMessage(prefix + Sentence(*design.outOfReach));
    for (const std::string& sentence : RefusalSentences(design.report))
        PrintMessage(prefix + "no words: " + sentence);
    for (const std::string& sentence : AdviceSentences(AdviceOn(design.report)))
        PrintMessage(prefix + sentence);
}

// False when there is no text, or what is played of the request exceeds a limit.
bool MakeLine(const DesignRequest& request, const std::string& prefix, const preview::Limits& limits,
              preview::Design& design)
{
    MakeDesign(request, design, limits);
    if (design.text.empty()) {
        PrintRefusal(prefix, design);
        return false;
    }
    for (const std::string& sentence : ChangeSentences(design)) PrintMessage(prefix + sentence);
    for (const preview::Excess& excess : design.excesses) PrintMessage(prefix + Sentence(excess));
    return design.excesses.empty();
}

int RunDesign(DesignOptions options)
{
    std::vector<DesignRequest> requests;
    if (const auto fault = MakeSequence(options.sequence, options.profile.stimulator, requests))
        throw Fault(std::string("design: ") + SentenceOf(*fault));
    std::string lines;
    bool made = true;
    for (const preview::Loosened& loosened : options.profile.limits.loosened)
        PrintMessage("warning: " + Sentence(loosened));
    preview::Stimulator stimulator = options.profile.stimulator;
    stimulator.pattern = KindOf(options.sequence.pulse);
    preview::Design design(stimulator);
    preview::Limits limits = options.profile.limits;
    limits.exact = limits.exact || options.exact;
    for (const DesignRequest& request : requests) {
        const std::string prefix = requests.size() > 1 ? request.name + ": " : "";
        made = MakeLine(request, prefix, limits, design) && made;
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

// --- Options ---

std::string NameFault(const std::string& name)
{
    preview::Asked asked;
    preview::ReadAsked(name + ":(1,0):DurationMsec=[1]", preview::PatternKind::Plain, asked);
    return asked.irregular == 0 ? "" : "'" + name + "' is no name: it is UTF-8 without colons, not empty";
}

bool ReadNumber(const std::string& text, double& value)
{
    return CLI::detail::lexical_cast(text, value) && std::isfinite(value) && FloatAbove(true)(text).empty();
}

// "20", or "20:100:10": a sweep.
bool ReadRange(const std::string& text, std::optional<preview::Range>& range, double& single, bool zeroToo)
{
    const std::vector<std::string> parts = CLI::detail::split(text, ':');
    const auto inRange = [zeroToo](double value) { return value > 0 || (zeroToo && value == 0); };
    if (parts.size() == 1) return ReadNumber(text, single) && inRange(single);
    preview::Range read;
    const bool usable = parts.size() == 3 && ReadNumber(parts[0], read.from) &&
                        ReadNumber(parts[1], read.to) && ReadNumber(parts[2], read.step) &&
                        inRange(read.from) && inRange(read.to) && read.step > 0;
    if (usable) range = read;
    single = read.from;
    return usable;
}

class DesignCommand
{
 public:
    DesignCommand(CLI::App& command, const std::shared_ptr<DesignOptions>& options)
        : m_command(command), m_options(options)
    {}

    void Add()
    {
        AddPulse();
        AddTrain();
        AddShape();
        AddBurst();
        m_command.add_flag("--exact", m_options->exact,
                           "Print nothing that is not played exactly as requested");
        AddStimulatorValues(m_command, m_options->profile.stimulator);
        AddDeviceOption(m_command, m_options->device);
    }

 private:
    template <typename Value>
    CLI::Option* Number(const char* name, Value& value, const char* unit, const char* what, bool zeroToo)
    {
        return m_command.add_option(name, value, what)->option_text(unit)->check(FloatAbove(zeroToo));
    }

    template <typename Value>
    void Count(const char* name, Value& value, const char* what, std::int64_t least)
    {
        constexpr std::int64_t Most = std::int64_t{1} << 53;
        m_command.add_option(name, value, what)->option_text("N")->check([least](const std::string& text) {
            std::int64_t count = 0;
            const bool usable = CLI::detail::lexical_cast(text, count) && count >= least && count <= Most;
            return usable ? std::string()
                          : "'" + text + "' is not a whole number of " + std::to_string(least) + " or above";
        });
    }

    CLI::Option* Swept(const char* name, std::optional<preview::Range>& range, double& value,
                       const char* unit, const char* what, bool zeroToo)
    {
        return m_command
            .add_option_function<std::string>(
                name,
                [name, &range, &value, zeroToo](const std::string& text) {
                    if (!ReadRange(text, range, value, zeroToo))
                        throw CLI::ValidationError(name, "'" + text + "' is not a number " +
                                                             (zeroToo ? "of 0 or above" : "above 0") +
                                                             ", or FROM:TO:STEP of them");
                },
                what)
            ->option_text(unit);
    }

    void AddPulse()
    {
        preview::SequenceRequest& sequence = m_options->sequence;
        DesignRequest& pulse = sequence.pulse;
        Swept("--amplitude", sequence.amplitudeUa, pulse.amplitudeUa, "UA",
              "Amplitude of phase 1, microamperes", true)
            ->required();
        Swept("--phase1", sequence.phase1Usec, pulse.phase1Usec, "USEC", "Length of phase 1, microseconds",
              false)
            ->required();
        Number("--ipi", pulse.ipiUsec, "USEC", "Interphase interval, microseconds [0]", true);
        Swept("--frequency", sequence.frequencyHz, pulse.frequencyHz, "HZ", "Pulses, or bursts, per second",
              false)
            ->required();
        m_command.add_option("--name", m_options->name, "Head of the text [Lilly, or Burst]")
            ->option_text("NAME")
            ->check(NameFault);
    }

    void AddTrain()
    {
        preview::SequenceRequest& sequence = m_options->sequence;
        m_command.add_option("--train", m_options->trainMsec, "Length of the train, milliseconds, or inf")
            ->option_text("MSEC")
            ->check([](const std::string& text) {
                return text == "inf" ? std::string() : FloatAbove(false)(text);
            });
        Count("--pulses", m_options->pulses, "Pulses in the train, in place of --train", 1);
        Number("--on", m_options->onSec, "SEC", "Length of each train, seconds, in place of --train", false);
        Number("--off", m_options->offSec, "SEC", "Pause between trains, seconds", false);
        Count("--times", sequence.times, "How many trains, with --off between them [1]", 1);
        Count("--ramp-up", sequence.rampUp, "Pulses of rising amplitude at the start of each train", 1);
        Count("--ramp-down", sequence.rampDown, "Pulses of falling amplitude at its end", 1);
    }

    void AddShape()
    {
        DesignRequest& pulse = m_options->sequence.pulse;
        m_command.add_option("--balance", pulse.balance, "Balance mode: 0 off, 1 to 4 ratio 1, 2, 4, 8 [1]")
            ->option_text("MODE")
            ->check(CLI::Range(0, 4));
        m_command
            .add_option_function<std::string>(
                "--polarity",
                [&pulse](const std::string& name) {
                    pulse.polarity = name == "positive" ? Stim::PositiveFirst : Stim::NegativeFirst;
                },
                "Sign of phase 1: negative or positive [negative]")
            ->option_text("SIGN")
            ->check(CLI::IsMember({"negative", "positive"}));
        Number("--offset", pulse.offsetMsec, "MSEC", "Time before phase 1, milliseconds [0]", true);
        Number("--phase2", m_options->phase2Usec, "USEC", "With --balance 0: length of phase 2, microseconds",
               true);
        Number("--amplitude2", m_options->amplitude2Ua, "UA",
               "With --balance 0: amplitude of phase 2, microamperes", true);
    }

    void AddBurst()
    {
        constexpr int MostPulses = StimPattern::MaxWords;
        m_command.add_option("--burst", m_options->burst, "Pulses in a burst: a plain pattern")
            ->option_text("N")
            ->check(CLI::Range(2, MostPulses));
        Number("--burst-rate", m_options->burstHz, "HZ", "Pulses per second within a burst", false);
    }

    CLI::App& m_command;
    const std::shared_ptr<DesignOptions> m_options;
};

void NeedConsistent(const DesignOptions& options)
{
    const bool off = options.sequence.pulse.balance == 0;
    if (options.phase2Usec.has_value() != off || options.amplitude2Ua.has_value() != off)
        throw CLI::ValidationError("--balance 0 needs --phase2 and --amplitude2, another mode takes neither");
    if (int{options.trainMsec.has_value()} + int{options.pulses.has_value()} +
            int{options.onSec.has_value()} !=
        1)
        throw CLI::ValidationError("one of --train, --pulses and --on is needed");
    if (options.offSec.has_value() != (options.sequence.times > 1))
        throw CLI::ValidationError("--off needs --times of 2 or more, and --times needs --off");
    if (options.burst.has_value() != options.burstHz.has_value())
        throw CLI::ValidationError("--burst needs --burst-rate, and --burst-rate needs --burst");
}

// Puts the options that may be absent into the request.
void Complete(DesignOptions& options)
{
    constexpr double MsecPerSecond = 1000;
    DesignRequest& pulse = options.sequence.pulse;
    pulse.name = options.name.value_or(options.burst ? "Burst" : "Lilly");
    pulse.pulses = options.pulses.value_or(0);
    pulse.trainMsec = options.onSec ? *options.onSec * MsecPerSecond : options.trainMsec.value_or(0);
    pulse.phase2Usec = options.phase2Usec.value_or(0);
    pulse.amplitude2Ua = options.amplitude2Ua.value_or(0);
    pulse.burst = static_cast<int>(options.burst.value_or(1));
    pulse.burstHz = options.burstHz.value_or(0);
    options.sequence.offMsec = options.offSec.value_or(0) * MsecPerSecond;
}

}  // namespace

void AddDesign(CLI::App& program, int& exitStatus)
{
    const auto options = std::make_shared<DesignOptions>();
    CLI::App& command = *program.add_subcommand(
        "design", "Print the specification strings of biphasic pulses and bursts by their parameters");
    DesignCommand(command, options).Add();
    command.callback([options, &command, &exitStatus] {
        NeedConsistent(*options);
        Settle(command, options->device, nullptr, options->profile);
        Complete(*options);
        exitStatus = RunDesign(*options);
    });
}
