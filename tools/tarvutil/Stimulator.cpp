#include "Stimulator.h"

#include <CLI/CLI.hpp>
#include <cmath>
#include <string>

#include "StimAtom.h"

std::function<std::string(const std::string&)> FloatAbove(bool zeroToo)
{
    const std::string range = zeroToo ? "a finite number, 0 or above" : "a finite number above 0";
    return [zeroToo, range](const std::string& text) {
        float value = 0;
        const bool usable = CLI::detail::lexical_cast(text, value) && std::isfinite(value) &&
                            (value > 0 || (zeroToo && value == 0));
        return usable ? std::string() : "'" + text + "' is not " + range;
    };
}

float Stimulator::AmpMaxUa() const
{
    return ampMaxUa.value_or(static_cast<float>(StimAtom::MaxAmpSteps) * ampStepUa);
}

playback::Scale Stimulator::Scale() const
{
    return {static_cast<double>(timeStepUsec), static_cast<double>(ampStepUa)};
}

void AddScaleOptions(CLI::App& command, Stimulator& stimulator)
{
    command.add_option("--time-step", stimulator.timeStepUsec, "Time step, microseconds [33.333332]")
        ->option_text("USEC")
        ->check(FloatAbove(false));
    command.add_option("--amp-step", stimulator.ampStepUa, "Amplitude step, microamperes [10]")
        ->option_text("UA")
        ->check(FloatAbove(false));
}

void AddStimulatorOptions(CLI::App& command, Stimulator& stimulator)
{
    command
        .add_option_function<std::string>(
            "--pattern",
            [&stimulator](const std::string& kind) {
                stimulator.pattern = kind == "plain" ? PatternKind::Plain : PatternKind::Lilly;
            },
            "Kind of pattern: lilly or plain [lilly]")
        ->option_text("KIND")
        ->check(CLI::IsMember({"lilly", "plain"}));
    AddScaleOptions(command, stimulator);
    command
        .add_option("--amp-max", stimulator.ampMaxUa, "Largest amplitude, microamperes [100 amplitude steps]")
        ->option_text("UA")
        ->check(FloatAbove(true));
    command
        .add_option("--budget", stimulator.budget,
                    "Most words of a pattern, word 0 included, 1 to 1024 [101]")
        ->option_text("WORDS")
        ->check(CLI::Range(1, StimPattern::MaxWords));
}

AnyPattern MakePattern(const Stimulator& s)
{
    if (s.pattern == PatternKind::Plain)
        return PlainPattern(s.budget, s.timeStepUsec, s.ampStepUa, s.AmpMaxUa());
    return LillyPattern(s.budget, s.timeStepUsec, 0, 0, s.ampStepUa, 0, s.AmpMaxUa());
}

StimPattern& Base(AnyPattern& pattern)
{
    return std::visit([](StimPattern& base) -> StimPattern& { return base; }, pattern);
}

const StimPattern& Base(const AnyPattern& pattern)
{
    return std::visit([](const StimPattern& base) -> const StimPattern& { return base; }, pattern);
}
