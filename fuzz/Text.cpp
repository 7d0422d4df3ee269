// Any bytes as a specification string. The readers must not crash, their messages must agree with their result, numbers
// must come out as strtod and strtol read them, and what a pattern took must read back from what it prints.

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "Bytes.h"
#include "HostPattern.h"
#include "LillyPattern.h"

using fuzz::Require;

namespace {

using Strings = std::vector<std::string>;

constexpr int Budget = 200;
constexpr float TimeStepUsec = 33.333332f;
constexpr float AmpMaxUa = 5000;

// Both lists hold a message already: the readers append, and judge by what they appended.
struct Messages
{
    Strings errors{"earlier error"};
    Strings warnings{"earlier warning"};

    std::size_t NewErrors() const { return errors.size() - 1; }
    void Check() const
    {
        Require(errors.at(0) == "earlier error" && warnings.at(0) == "earlier warning",
                "messages are only appended");
    }
    bool operator==(const Messages& other) const
    {
        return errors == other.errors && warnings == other.warnings;
    }
};

class PlainPattern : public fuzz::HostPattern<StimPattern>
{
 public:
    PlainPattern() : HostPattern(false, Budget, TimeStepUsec, 0.0f, 0.0f, 10.0f, AmpMaxUa) {}
};

class UnbalancedLilly : public LillyPattern
{
 public:
    UnbalancedLilly() : LillyPattern(Budget, TimeStepUsec, 0, 0, 10, 0, AmpMaxUa) {}
};

bool IsSpace(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// The value of "name[value]" as the readers see it: "]" is a blank, blanks at the ends do not count.
std::string BracketValue(std::string value)
{
    std::replace(value.begin(), value.end(), ']', ' ');
    while (!value.empty() && IsSpace(value.back())) value.pop_back();
    value.erase(value.begin(), std::find_if_not(value.begin(), value.end(), IsSpace));
    return value;
}

float CheckDuration(const StimPattern& pattern, const std::string& field, Messages& messages)
{
    const std::size_t before = messages.errors.size();
    const float msec = pattern.DurationFromStr(field, messages.errors);
    Require(messages.errors.size() - before == (msec > 0 ? 0U : 1U),
            "a duration that is not above 0 gives one error");
    const Strings tokens = pattern.Split(field, '[', false);
    if (tokens.size() != 2) {
        Require(msec == 0, "a field without one bracket gives 0");
        return msec;
    }
    const std::string value = BracketValue(tokens[1]);
    const bool unbounded = value.find("inf") != std::string::npos || value.find("INF") != std::string::npos;
    const float expected = unbounded ? std::numeric_limits<float>::max()
                                     : static_cast<float>(std::strtod(value.c_str(), nullptr));
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
        const float steps = p.amp / step;
        Require(std::isfinite(p.amp) || step > 1e37f, "amplitudes are finite");
        Require(p.amp <= 100 * step, "positive amplitudes have at most 100 steps");
        Require(p.amp == 0 || std::fabs(steps) >= 0.999f, "a current has at least one step");
    }
    return phases;
}

// FromString does what its two readers do, and takes what they read.
bool CheckFromString(StimPattern& pattern, const std::string& text, float step)
{
    Messages messages;
    const Strings fields = pattern.Split(text, ':', false);
    const std::vector<phase> before = pattern.Phases();
    const int countBefore = pattern.ChangeCount();
    Messages expected;
    std::vector<phase> phases;
    bool taken = fields.size() >= 3;
    if (taken) {
        phases = CheckPhases(pattern, fields[1], step, expected);
        const float msec = CheckDuration(pattern, fields[2], expected);
        taken = expected.NewErrors() == 0 && !phases.empty() && msec > 0;
    } else {
        expected.errors.push_back("Invalid pattern specification string: [" + text + "]");
    }
    const bool read = pattern.StimPattern::FromString(text, step, messages.errors, messages.warnings);
    messages.Check();
    Require(read == taken && messages == expected, "result and messages are those of the two readers");
    if (read) return pattern.PhasesValid(phases, pattern.MaxCmds());
    Require(countBefore == pattern.ChangeCount() && before.size() == pattern.Phases().size(),
            "refused text changes nothing");
    return false;
}

// The part of a Lilly text behind the fields that every pattern has.
void CheckBalanceField(LillyPattern& pattern, const std::string& text, float step)
{
    Messages messages;
    Messages ofBase;
    UnbalancedLilly base;
    const bool baseRead = base.StimPattern::FromString(text, step, ofBase.errors, ofBase.warnings);
    const bool read = pattern.FromString(text, step, messages.errors, messages.warnings);
    const Strings fields = pattern.Split(text, ':', false);
    long mode = 0;
    if (baseRead && fields.size() > 3) {
        const Strings tokens = pattern.Split(fields[3], '[', false);
        if (tokens.size() == 2)
            mode = std::strtol(BracketValue(tokens[1]).c_str(), nullptr, 10);
        else
            ofBase.errors.push_back("invalid charge balance specification string [" + fields[3] + "].");
    }
    Require(messages == ofBase && read == (baseRead && messages.NewErrors() == 0),
            "a bad field 4 is one error");
    Require(pattern.BalanceMode() == (mode < 0 ? 0 : std::min(mode, 4L)),
            "the mode reads as strtol reads it");
}

// What the pattern prints reads back: lengths exactly, amplitudes and train within the six decimals and a float's
// precision.
void CheckReadBack(StimPattern& pattern, StimPattern& fresh, float step)
{
    if (pattern.TrainLength() < 1e-6f) return;  // prints as 0
    const std::string printed = "Head:" + pattern.ToString();
    Messages messages;
    const std::vector<phase> asked = pattern.Phases();
    const Strings fields = pattern.Split(printed, ':', false);
    const std::vector<phase> back = fresh.PhasesFromStr(fields[1], step, messages.errors, messages.warnings);
    bool exact = true;
    for (std::size_t i = 0; i < asked.size(); ++i) {
        const float steps = std::fabs(asked[i].amp) / step;
        if (steps > 1e6f) return;  // the steps of so large an amplitude are not told apart
        Require(messages.NewErrors() == 0 && back.size() == asked.size(), "every phase reads back");
        Require(back[i].len == asked[i].len, "lengths read back");
        const float slack = 1e-6f + std::fabs(asked[i].amp) * 1e-6f + step;
        Require(std::fabs(back[i].amp - asked[i].amp) <= slack, "amplitudes read back within the rounding");
        exact = exact && step >= 1e-4f && std::fabs(asked[i].amp) < AmpMaxUa;
        Require(!exact || back[i].amp == asked[i].amp, "amplitudes of whole steps read back");
    }
    if (!exact) return;
    Require(fresh.StimPattern::FromString(printed, step, messages.errors, messages.warnings),
            "printed text is read");
    Require(fresh == pattern, "a list that was taken is taken again");
    const float train = pattern.TrainLength();
    Require(fresh.TrainLength() == train || std::fabs(fresh.TrainLength() - train) <= 1e-6f + train * 1e-6f,
            "the train reads back within the rounding");
}

template <class Pattern>
void Check(const std::string& text, float step)
{
    Pattern pattern;
    Pattern fresh;
    if (CheckFromString(pattern, text, step)) CheckReadBack(pattern, fresh, step);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static constexpr float Steps[] = {1.0f, 10.0f, 0.1f, 0.0f, -1.0f, 1e-9f, 3e37f, 7.3f};
    fuzz::Bytes in(data, size);
    const int choice = in.Below(16);
    const float step = choice < 8 ? Steps[choice] : choice < 15 ? 5.0f : in.Float();
    const std::string text = in.Rest();
    Check<PlainPattern>(text, step);
    Check<UnbalancedLilly>(text, step);
    UnbalancedLilly lilly;
    CheckBalanceField(lilly, text, step);
    Messages messages;
    CheckPhases(lilly, text, step, messages);
    CheckDuration(lilly, text, messages);
    CheckDuration(lilly, "Duration[" + text, messages);
    messages.Check();
    return 0;
}
