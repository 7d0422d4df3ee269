#pragma once

#include <functional>
#include <optional>
#include <string>
#include <variant>

#include "LillyPattern.h"
#include "PlainPattern.h"
#include "Playback.h"

namespace CLI {
class App;
}

enum class PatternKind
{
    Lilly,
    Plain,
};

// The stimulator that the patterns are for, as the options of a command say.
struct Stimulator
{
    PatternKind pattern = PatternKind::Lilly;
    float timeStepUsec = 33.333332f;
    float ampStepUa = 10;
    std::optional<float> ampMaxUa;  // 100 amplitude steps when not given
    int budget = 101;               // words, word 0 included

    float AmpMaxUa() const;
    playback::Scale Scale() const;
};

// Adds --pattern, --time-step, --amp-step, --amp-max and --budget to a command; values that no pattern can be
// made with are usage errors. stimulator must live until the command has run.
void AddStimulatorOptions(CLI::App& command, Stimulator& stimulator);
// The part of them that says what a word means: --time-step and --amp-step.
void AddScaleOptions(CLI::App& command, Stimulator& stimulator);

// For an option that is held in single precision: finite and above 0, or 0 too. Says what is wrong, or nothing.
std::function<std::string(const std::string&)> FloatAbove(bool zeroToo);

using AnyPattern = std::variant<LillyPattern, PlainPattern>;

AnyPattern MakePattern(const Stimulator& stimulator);
StimPattern& Base(AnyPattern& pattern);
const StimPattern& Base(const AnyPattern& pattern);
