// Any bytes as a specification string. The readers must not crash, their messages must agree with their result, numbers
// must be those of strtod and strtol, and an accepted pattern, printed, must read back.

#include <algorithm>
#include <cmath>
#include <vector>

#include "Bytes.h"
#include "LillyPattern.h"
#include "PlainPattern.h"

using fuzz::Require;

namespace {

using Strings = std::vector<std::string>;

constexpr int Budget = 200;
constexpr float TimeStepUsec = 33.333332f;
constexpr float AmpMaxUa = 5000;

class UnbalancedLilly : public LillyPattern
{
 public:
    UnbalancedLilly() : LillyPattern(Budget, TimeStepUsec, 0, 0, 10, 0, AmpMaxUa) {}
};

// Messages that the readers append to lists with one message already in them.
struct Messages
{
    Strings errors{"earlier"};
    Strings warnings{"earlier"};

    bool Clean() const { return errors.size() == 1; }
    bool operator==(const Messages& other) const
    {
        return errors == other.errors && warnings == other.warnings;
    }
};

// The value of "name[value]" as the readers read it: "]" is a blank, blanks at the ends do not count.
std::string BracketValue(std::string value)
{
    constexpr const char* Blanks = " \t\n\v\f\r";
    std::replace(value.begin(), value.end(), ']', ' ');
    const std::size_t first = value.find_first_not_of(Blanks);
    return first == std::string::npos ? "" : value.substr(first, value.find_last_not_of(Blanks) - first + 1);
}

float CheckDuration(const StimPattern& pattern, const std::string& field, Messages& messages)
{
    const std::size_t before = messages.errors.size();
    const float msec = pattern.DurationFromStr(field, messages.errors);
    Require(messages.errors.size() - before == (msec > 0 ? 0U : 1U),
            "a duration that is not above 0 is one error");
    const Strings tokens = pattern.Split(field, '[', false);
    const std::string value = tokens.size() == 2 ? BracketValue(tokens[1]) : std::string();
    float expected = static_cast<float>(std::strtod(value.c_str(), nullptr));
    if (value.find("inf") != std::string::npos || value.find("INF") != std::string::npos)
        expected = std::numeric_limits<float>::max();
    Require(msec == expected || (std::isnan(msec) && std::isnan(expected)),
            "a duration reads as strtod reads it");
    return msec;
}

std::vector<phase> CheckPhases(const StimPattern& pattern, const std::string& field, float step,
                               Messages& messages)
{
    const Messages before = messages;
    std::vector<phase> phases = pattern.PhasesFromStr(field, step, messages.errors, messages.warnings);
    const std::size_t items = pattern.Split(field, ')', false).size();
    Require(phases.size() + messages.errors.size() - before.errors.size() == items,
            "an item is a phase or an error");
    Require(messages.warnings.size() - before.warnings.size() <= 2 * items,
            "an item gives two warnings at most");
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
    Messages messages;
    Messages expected;
    std::vector<phase> phases;
    const Strings fields = pattern.Split(text, ':', false);
    const int count = pattern.ChangeCount();
    bool good = fields.size() >= 3;
    if (good) {
        phases = CheckPhases(pattern, fields[1], step, expected);
        good = CheckDuration(pattern, fields[2], expected) > 0 && !phases.empty() && expected.Clean();
    } else {
        expected.errors.push_back("Invalid pattern specification string: [" + text + "]");
    }
    Require(pattern.StimPattern::FromString(text, step, messages.errors, messages.warnings) == good,
            "what both readers read is taken");
    Require(messages == expected, "the messages are those of the two readers");
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
        const phase& p = back[static_cast<std::size_t>(i)];
        const float slack = 1e-6f + std::fabs(p.amp) * 1e-6f + step;
        Require(p.len == pattern.PhaseLen(i), "lengths read back");
        Require(std::fabs(p.amp - pattern.PhaseAmp(i)) <= slack, "amplitudes read back within the rounding");
    }
    if (step < 1e-4f || std::fabs(pattern.MaxAbsAmp()) == AmpMaxUa) return;
    Require(fresh.FromString(printed, step, messages.errors, messages.warnings), "printed text is read");
    Require(fresh == pattern, "whole steps read back");
    Require(fresh.TrainLength() == train || std::fabs(fresh.TrainLength() - train) <= 1e-6f + train * 1e-6f,
            "the train reads back within the rounding");
}

// The field of a Lilly text after those of every pattern.
void CheckBalanceField(const std::string& text, float step)
{
    UnbalancedLilly pattern;
    UnbalancedLilly base;
    Messages messages;
    Messages expected;
    bool good = base.StimPattern::FromString(text, step, expected.errors, expected.warnings);
    const Strings fields = pattern.Split(text, ':', false);
    long mode = 0;
    if (good && fields.size() > 3) {
        const Strings tokens = pattern.Split(fields[3], '[', false);
        good = tokens.size() == 2;
        if (good) mode = std::strtol(BracketValue(tokens[1]).c_str(), nullptr, 10);
        if (!good)
            expected.errors.push_back("invalid charge balance specification string [" + fields[3] + "].");
    }
    Require(pattern.FromString(text, step, messages.errors, messages.warnings) == good,
            "a bad field 4 is a fault");
    Require(messages == expected, "a bad field 4 is one error");
    Require(pattern.BalanceMode() == (mode < 0 ? 0 : std::min(mode, 4L)),
            "the mode reads as strtol reads it");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static constexpr float Steps[] = {1, 10, 0.1f, 0, -1, 1e-9f, 3e37f, 7.3f, 5, 5};
    fuzz::Bytes in(data, size);
    const int choice = in.Below(11);
    const float step = choice < 10 ? Steps[choice] : in.Float();
    const std::string text = in.Rest();

    PlainPattern plain(Budget, TimeStepUsec, 10, AmpMaxUa);
    PlainPattern freshPlain = plain;
    if (CheckFromString(plain, text, step)) CheckReadBack(plain, freshPlain, step);
    UnbalancedLilly lilly;
    UnbalancedLilly freshLilly;
    if (CheckFromString(lilly, text, step)) CheckReadBack(lilly, freshLilly, step);
    CheckBalanceField(text, step);
    Messages messages;
    CheckPhases(plain, text, step, messages);
    CheckFullReader(plain, text, step);
    CheckDuration(plain, "Duration[" + text, messages);
    return 0;
}
