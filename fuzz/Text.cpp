// Any bytes as a specification string. The readers must not crash, their messages must agree with their result, numbers
// must be those of strtod, and an accepted pattern, printed, must read back.

#include <algorithm>
#include <cmath>
#include <vector>

#include "Fuzz.h"
#include "LillyPattern.h"
#include "PlainPattern.h"

namespace {

using Strings = std::vector<std::string>;

constexpr int Budget = 200;
constexpr float TimeStepUsec = 33.333332f;
constexpr float AmpMaxUa = 5000;

// Messages that the readers append.
struct Messages
{
    Strings errors, warnings;
};

// The value of "name[value]" as the readers read it: "]" is a blank, blanks at the ends do not count.
std::string BracketValue(std::string value)
{
    constexpr const char* Blanks = " \t\n\v\f\r";
    std::replace(value.begin(), value.end(), ']', ' ');
    const std::size_t first = value.find_first_not_of(Blanks);
    return first == std::string::npos ? "" : value.substr(first, value.find_last_not_of(Blanks) - first + 1);
}

float CheckDuration(const StimPattern& pattern, const std::string& field, Strings& errors)
{
    const std::size_t before = errors.size();
    const float msec = pattern.DurationFromStr(field, errors);
    Require(errors.size() - before == (msec > 0 ? 0U : 1U), "a duration that is not above 0 is one error");
    const Strings tokens = pattern.Split(field, '[', false);
    const std::string value = tokens.size() == 2 ? BracketValue(tokens[1]) : std::string();
    const bool endless = value.find("inf") != std::string::npos || value.find("INF") != std::string::npos;
    const float expected =
        endless ? std::numeric_limits<float>::max() : static_cast<float>(std::strtod(value.c_str(), nullptr));
    Require(msec == expected || (std::isnan(msec) && std::isnan(expected)),
            "a duration reads as strtod reads it");
    return msec;
}

std::vector<phase> CheckPhases(const StimPattern& pattern, const std::string& field, float step,
                               Messages& messages)
{
    std::vector<phase> phases = pattern.PhasesFromStr(field, step, messages.errors, messages.warnings);
    const std::size_t items = pattern.Split(field, ')', false).size();
    Require(phases.size() + messages.errors.size() == items, "an item is a phase or an error");
    Require(messages.warnings.size() <= 2 * items, "an item gives two warnings at most");
    for (const phase& p : phases) {
        Require(p.len == std::round(p.len) && std::fabs(p.len) <= 2147483648.0f, "lengths are whole numbers");
        Require(p.amp <= 100 * step, "positive amplitudes have at most 100 steps");
        Require(p.amp == 0 || std::fabs(p.amp / step) >= 0.999f, "a current has at least one step");
    }
    return phases;
}

// Items of whole numbers have a reader of their own. With every "(" doubled, a blank more, all are read in full.
void CheckFullReader(const StimPattern& pattern, const std::string& field, float step)
{
    std::string doubled;
    for (const char c : field) doubled.append(c == '(' ? 2 : 1, c);
    Messages messages;
    Messages inFull;
    const auto phases = pattern.PhasesFromStr(field, step, messages.errors, messages.warnings);
    const auto same = pattern.PhasesFromStr(doubled, step, inFull.errors, inFull.warnings);
    Require(phases.size() == same.size() && messages.warnings == inFull.warnings &&
                messages.errors.size() == inFull.errors.size(),
            "both readers find the same");
    for (std::size_t i = 0; i < phases.size(); ++i)
        Require(phases[i].len == same[i].len && phases[i].amp == same[i].amp, "both readers read the same");
}

// FromString agrees with its two readers; true if the pattern accepted what they read.
bool CheckFromString(StimPattern& pattern, const std::string& text, float step)
{
    Messages messages, expected;
    std::vector<phase> phases;
    const Strings fields = pattern.Split(text, ':', false);
    const int count = pattern.ChangeCount();
    bool good = fields.size() >= 3;
    if (good) {
        phases = CheckPhases(pattern, fields[1], step, expected);
        good = CheckDuration(pattern, fields[2], expected.errors) > 0 && !phases.empty() &&
               expected.errors.empty();
    } else {
        expected.errors.push_back("Invalid pattern specification string: [" + text + "]");
    }
    Require(pattern.StimPattern::FromString(text, step, messages.errors, messages.warnings) == good,
            "what both readers read is taken");
    Require(messages.errors == expected.errors && messages.warnings == expected.warnings,
            "the messages are those of the two readers");
    Require(good || pattern.ChangeCount() == count, "refused text changes nothing");
    return good && pattern.PhasesValid(phases, pattern.MaxCmds());
}

// Lengths read back exactly, amplitudes and train within six decimals and a float's precision; amplitudes of whole
// steps exactly, as far as a float can distinguish their steps.
void CheckReadBack(StimPattern& pattern, StimPattern& fresh, float step)
{
    const float train = pattern.TrainLength();
    if (train < 1e-6f || std::fabs(pattern.MaxAbsAmp()) > 1e6f * step) return;
    const std::string printed = "Head:" + pattern.ToString();
    Messages messages;
    const std::string items = pattern.Split(printed, ':', false)[1];
    const std::vector<phase> back = fresh.PhasesFromStr(items, step, messages.errors, messages.warnings);
    Require(back.size() == static_cast<std::size_t>(pattern.PhaseCount()), "every phase reads back");
    for (int i = 0; i < pattern.PhaseCount(); ++i) {
        const auto& [len, amp] = back[static_cast<std::size_t>(i)];
        Require(len == pattern.PhaseLen(i), "lengths read back");
        Require(std::fabs(amp - pattern.PhaseAmp(i)) <= 1e-6f + std::fabs(amp) * 1e-6f + step,
                "amplitudes read back within the rounding");
    }
    if (step < 1e-4f || std::fabs(pattern.MaxAbsAmp()) == AmpMaxUa) return;
    Require(fresh.FromString(printed, step, messages.errors, messages.warnings), "printed text is read");
    Require(fresh == pattern, "whole steps read back");
    Require(fresh.TrainLength() == train || std::fabs(fresh.TrainLength() - train) <= 1e-6f + train * 1e-6f,
            "the train reads back within the rounding");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzedDataProvider in(data, size);
    static constexpr float Steps[] = {1, 10, 0.1f, 0, -1, 1e-9f, 3e37f, 7.3f, 5, 5};
    const float step = in.ConsumeBool() ? in.PickValueInArray(Steps) : AnyFloat(in);
    const std::string text = in.ConsumeRemainingBytesAsString();

    PlainPattern plain(Budget, TimeStepUsec, 10, AmpMaxUa), freshPlain = plain;
    if (CheckFromString(plain, text, step)) CheckReadBack(plain, freshPlain, step);
    LillyPattern lilly(Budget, TimeStepUsec, 0, 0, 10, 0, AmpMaxUa), freshLilly = lilly;
    if (CheckFromString(lilly, text, step)) CheckReadBack(lilly, freshLilly, step);
    Messages messages;
    lilly.FromString(text, step, messages.errors, messages.warnings);
    Require(lilly.BalanceMode() >= 0 && lilly.BalanceMode() <= 4, "a balance mode is one of five");
    messages = {};
    CheckPhases(plain, text, step, messages);
    CheckFullReader(plain, text, step);
    CheckDuration(plain, "Duration[" + text, messages.errors);
    return 0;
}
