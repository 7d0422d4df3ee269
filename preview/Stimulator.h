#pragma once

#include <optional>
#include <variant>

#include "LillyPattern.h"
#include "PlainPattern.h"
#include "Playback.h"

// The stimulator that patterns are for.
namespace preview {

enum class PatternKind
{
    Lilly,  // five phases, balanced and repaired
    Plain,  // any number of phases, played as they are or refused
};

// A value of a stimulator that no pattern can be made with.
enum class StimulatorValue
{
    TimeStep,  // not finite or not above 0
    AmpStep,   // likewise
    AmpMax,    // not finite or below 0
    Budget,    // outside 1 to StimPattern::MaxWords
};

struct Stimulator
{
    PatternKind pattern = PatternKind::Lilly;
    float timeStepUsec = 33.333332f;
    float ampStepUa = 10;
    std::optional<float> ampMaxUa;  // 100 amplitude steps when not given
    int budget = 101;               // words, word 0 included

    float AmpMaxUa() const;
    playback::Scale Scale() const;
    // The first value that no pattern can be made with.
    std::optional<StimulatorValue> Unusable() const;
};

using AnyPattern = std::variant<LillyPattern, PlainPattern>;

// REQUIRES: no value of the stimulator is unusable.
AnyPattern MakePattern(const Stimulator& stimulator);
StimPattern& Base(AnyPattern& pattern);
const StimPattern& Base(const AnyPattern& pattern);

}  // namespace preview
