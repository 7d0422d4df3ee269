#include "DesignParameters.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

#include "NumberText.h"
#include "Units.h"
#include "Utf8.h"

namespace preview {
namespace {

using TarvUtil::Internal::ReadNumber;

constexpr std::int64_t AnyCount = std::int64_t{1} << 53;  // every whole number up to it is a double

std::string Not(const std::string& text, const std::string& what)
{
    return "'" + Visible(text) + "' is not " + what;
}

// --- Readers of values: true when value was taken ---

bool Read(const std::string& text, double& value)
{
    if (!IsDecimal(text)) return false;
    const double number = ReadNumber(text);
    if (!std::isfinite(static_cast<float>(number))) return false;
    value = number;
    return true;
}

template <std::optional<double> DesignParameters::*Member, bool ZeroToo>
std::string SetNumber(DesignParameters& parameters, const std::string& text)
{
    double value = 0;
    if (!Read(text, value) || value < 0 || (value == 0 && !ZeroToo))
        return Not(text, ZeroToo ? "a finite number, 0 or above" : "a finite number above 0");
    parameters.*Member = value;
    return {};
}

std::string SetTrain(DesignParameters& parameters, const std::string& text)
{
    if (text != "inf") return SetNumber<&DesignParameters::trainMsec, false>(parameters, text);
    parameters.trainMsec = std::numeric_limits<double>::infinity();
    return {};
}

template <std::optional<std::int64_t> DesignParameters::*Member, std::int64_t Least, std::int64_t Most>
std::string SetCount(DesignParameters& parameters, const std::string& text)
{
    double value = 0;
    if (!Read(text, value) || value != std::floor(value) || value < static_cast<double>(Least) ||
        value > static_cast<double>(Most))
        return Not(text, "a whole number of " + std::to_string(Least) +
                             (Most < AnyCount ? " to " + std::to_string(Most) : " or above"));
    parameters.*Member = static_cast<std::int64_t>(value);
    return {};
}

template <std::optional<std::int64_t> DesignParameters::*Member>
constexpr auto SetPulses = SetCount<Member, 1, AnyCount>;

// The values of "20" or "20:100:10".
bool ReadSwept(const std::string& text, Swept& swept)
{
    const std::size_t first = text.find(':');
    if (first == std::string::npos) return Read(text, swept.single);
    const std::size_t second = text.find(':', first + 1);
    Range range;
    if (second == std::string::npos || !Read(text.substr(0, first), range.from) ||
        !Read(text.substr(first + 1, second - first - 1), range.to) ||
        !Read(text.substr(second + 1), range.step) || range.step <= 0)
        return false;
    swept.range = range;
    swept.single = range.from;
    return true;
}

template <std::optional<Swept> DesignParameters::*Member, bool ZeroToo>
std::string SetSwept(DesignParameters& parameters, const std::string& text)
{
    Swept swept;
    const auto inRange = [](double value) { return value > 0 || (ZeroToo && value == 0); };
    if (!ReadSwept(text, swept) || !inRange(swept.single) || (swept.range && !inRange(swept.range->to)))
        return Not(text, std::string("a number ") +
                             (ZeroToo ? "of 0 or above (its sign is the polarity)" : "above 0") +
                             ", or FROM:TO:STEP of them with STEP above 0");
    parameters.*Member = swept;
    return {};
}

std::string SetName(DesignParameters& parameters, const std::string& text)
{
    Asked asked;
    ReadAsked(text + ":(1,0):DurationMsec=[1]", PatternKind::Plain, asked);
    // A line that begins with # is a comment.
    if (asked.irregular != 0 || text[std::min(text.find_first_not_of(" \t"), text.size())] == '#')
        return Not(text, "a name: valid UTF-8, not empty, without a colon, and no ( or # at its start");
    parameters.name = text;
    return {};
}

std::string SetPolarity(DesignParameters& parameters, const std::string& text)
{
    if (text != "negative" && text != "positive") return Not(text, "negative or positive");
    parameters.polarity = text == "positive" ? Stim::PositiveFirst : Stim::NegativeFirst;
    return {};
}

}  // namespace

const std::vector<DesignParameter>& AllDesignParameters()
{
    using P = DesignParameters;
    constexpr std::int64_t MostInBurst = StimPattern::MaxWords;
    static const std::vector<DesignParameter> all{
        {"amplitude", "UA", "Amplitude of phase 1, microamperes, without sign",
         SetSwept<&P::amplitudeUa, true>, true},
        {"phase1", "USEC", "Length of phase 1, microseconds", SetSwept<&P::phase1Usec, false>, true},
        {"ipi", "USEC", "Interphase interval, microseconds [0]", SetNumber<&P::ipiUsec, true>},
        {"frequency", "HZ", "Pulses, or bursts, per second", SetSwept<&P::frequencyHz, false>, true},
        {"name", "NAME", "Head of the text [Lilly, or Burst]", SetName},
        {"train", "MSEC", "Length of the train, milliseconds, or inf", SetTrain},
        {"pulses", "N", "Pulses in the train, in place of --train", SetPulses<&P::pulses>},
        {"on", "SEC", "Length of each train, seconds, in place of --train", SetNumber<&P::onSec, false>},
        {"off", "SEC", "Pause between trains, seconds", SetNumber<&P::offSec, false>},
        {"times", "N", "How many trains, with --off between them [1]", SetPulses<&P::times>},
        {"ramp-up", "N", "Pulses of rising amplitude at the start of each train", SetPulses<&P::rampUp>},
        {"ramp-down", "N", "Pulses of falling amplitude at its end", SetPulses<&P::rampDown>},
        {"balance", "MODE", "Balance mode: 0 off, 1 to 4 ratio 1, 2, 4, 8 [1]", SetCount<&P::balance, 0, 4>},
        {"polarity", "SIGN", "Sign of phase 1: negative or positive [negative]", SetPolarity},
        {"offset", "MSEC", "Time before phase 1, milliseconds [0]", SetNumber<&P::offsetMsec, true>},
        {"phase2", "USEC", "With --balance 0: length of phase 2, microseconds",
         SetNumber<&P::phase2Usec, true>},
        {"amplitude2", "UA", "With --balance 0: amplitude of phase 2, microamperes",
         SetNumber<&P::amplitude2Ua, true>},
        {"burst", "N", "Pulses in a burst: a plain pattern", SetCount<&P::burst, 2, MostInBurst>},
        {"burst-rate", "HZ", "Pulses per second within a burst", SetNumber<&P::burstHz, false>},
    };
    return all;
}

const DesignParameter* FindDesignParameter(std::string_view name)
{
    for (const DesignParameter& parameter : AllDesignParameters())
        if (name == parameter.name) return &parameter;
    return nullptr;
}

std::string DesignParameters::Inconsistent(const std::string& dashes) const
{
    const std::string& d = dashes;
    if (!amplitudeUa || !phase1Usec || !frequencyHz)
        return d + "amplitude, " + d + "phase1 and " + d + "frequency are needed";
    const bool off = balance == 0;
    if (phase2Usec.has_value() != off || amplitude2Ua.has_value() != off)
        return d + "balance 0 needs " + d + "phase2 and " + d + "amplitude2, another mode takes neither";
    const bool given[] = {trainMsec.has_value(), pulses.has_value(), onSec.has_value()};
    if (std::count(std::begin(given), std::end(given), true) != 1)
        return "one of " + d + "train, " + d + "pulses and " + d + "on is needed";
    if (offSec.has_value() != (times.value_or(1) > 1))
        return d + "off needs " + d + "times of 2 or more, and " + d + "times needs " + d + "off";
    const std::string rate = d.empty() ? "burst_rate" : d + "burst-rate";
    if (burst.has_value() != burstHz.has_value())
        return d + "burst needs " + rate + ", and " + rate + " needs " + d + "burst";
    return {};
}

SequenceRequest DesignParameters::Request() const
{
    SequenceRequest request;
    DesignRequest& pulse = request.pulse;
    pulse.name = name.value_or(burst ? "Burst" : "Lilly");
    pulse.amplitudeUa = amplitudeUa->single;
    pulse.phase1Usec = phase1Usec->single;
    pulse.ipiUsec = ipiUsec.value_or(0);
    pulse.frequencyHz = frequencyHz->single;
    pulse.trainMsec = onSec ? *onSec * MsecPerSecond : trainMsec.value_or(0);
    pulse.pulses = pulses.value_or(0);
    pulse.balance = static_cast<int>(balance.value_or(1));
    pulse.polarity = polarity.value_or(Stim::NegativeFirst);
    pulse.offsetMsec = offsetMsec.value_or(0);
    pulse.phase2Usec = phase2Usec.value_or(0);
    pulse.amplitude2Ua = amplitude2Ua.value_or(0);
    pulse.burst = static_cast<int>(burst.value_or(1));
    pulse.burstHz = burstHz.value_or(0);
    request.amplitudeUa = amplitudeUa->range;
    request.frequencyHz = frequencyHz->range;
    request.phase1Usec = phase1Usec->range;
    request.rampUp = rampUp.value_or(0);
    request.rampDown = rampDown.value_or(0);
    request.times = times.value_or(1);
    request.offMsec = offSec.value_or(0) * MsecPerSecond;
    return request;
}

}  // namespace preview
