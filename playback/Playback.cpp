#include "Playback.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "CommandWord.h"
#include "TimeSteps.h"

using TarvUtil::Internal::CommandWord;
using TarvUtil::Internal::UnpackWord;

namespace playback {
namespace {

// Calls visit with each segment of one cycle, in order.
template <typename Visit>
void ForEachSegment(const std::vector<unsigned int>& words, const Scale& scale, Visit visit)
{
    double at = 0;
    const auto until = [&](double end, double currentUa, std::size_t word) {
        if (!(end > at)) return;
        visit(Segment{at, end - at, currentUa, currentUa != 0 ? Kind::Current : Kind::Pause, word});
        at = end;
    };
    double steps = 0;
    for (std::size_t i = 1; i < words.size(); ++i) {
        const Word word = Unpack(words[i]);
        // Counted from the start of the cycle, so that a border is exactly at its number of steps.
        const double start = steps * scale.timeStepUsec;
        steps += word.timeSteps;
        const double end = steps * scale.timeStepUsec;
        const double currentUa = word.ampSteps * scale.ampStepUa;
        const double split = word.ampSteps == 0 ? start : std::min(start + word.splitUsec, end);
        until(split, word.ampAfterSplit ? 0 : currentUa, i);
        until(end, word.ampAfterSplit ? currentUa : 0, i);
    }
}

}  // namespace

Word Unpack(unsigned int word)
{
    const CommandWord fields = UnpackWord(word);
    return {fields.timeSteps, fields.ampSteps, fields.ampAfterSplit,
            fields.splitUsec, fields.inPulse,  fields.flag14};
}

Kind KindOf(const Word& word)
{
    if (word.splitUsec == 0 && word.ampSteps == 0) return Kind::Pause;
    return word.splitUsec == 0 && word.ampAfterSplit ? Kind::Current : Kind::Split;
}

const char* NameOf(Kind kind)
{
    switch (kind) {
        case Kind::Cycles:
            return "cycles";
        case Kind::Current:
            return "current";
        case Kind::Pause:
            return "pause";
        case Kind::Split:
            break;
    }
    return "split";
}

bool IsCycleWord(unsigned int word)
{
    return TarvUtil::Internal::IsCycleWord(word);
}

int CyclesOf(unsigned int word0)
{
    return TarvUtil::Internal::CyclesOf(word0);
}

std::string Refusal(const std::vector<unsigned int>& words)
{
    if (words.empty()) return "no words";
    if (words.size() > StimPattern::MaxWords)
        return "more words than the " + std::to_string(StimPattern::MaxWords) + " of a word array";
    if (!IsCycleWord(words[0])) return "word 0 is not a count of cycles: a bit above bit 11 is set";
    for (std::size_t i = 1; i < words.size(); ++i)
        if (Unpack(words[i]).timeSteps == 0) return "word " + std::to_string(i) + " lasts 0 time steps";
    return {};
}

namespace {

constexpr unsigned int SignBit = 1U << 7U;
// A split point is not masked: from this many microseconds on it changes flag 14, or the duration.
constexpr double ShowsInFlag14Usec = 64;
constexpr double ShowsInDurationUsec = 512;

// The remark on a stimulation word; null for none.
const char* RemarkOn(unsigned int bits, double timeStepUsec)
{
    const Word word = Unpack(bits);
    const bool severalSteps = word.timeSteps > 1 && timeStepUsec <= ShowsInDurationUsec;
    if (std::abs(word.ampSteps) > static_cast<int>(StimAtom::MaxAmpSteps))
        return "the magnitude is above 100 amplitude steps";
    if (word.ampSteps == 0 && (bits & SignBit) != 0) return "a sign, but no current";
    if (word.flag14 && timeStepUsec <= ShowsInFlag14Usec) return "flag 14 is set";
    if (word.splitUsec > timeStepUsec) return "the split point is beyond the time step";
    if (word.splitUsec != 0 && severalSteps) return "a split point in a word of several time steps";
    if (word.splitUsec == 0 && word.ampSteps != 0 && !word.ampAfterSplit && severalSteps)
        return "its current has no duration";
    return nullptr;
}

}  // namespace

std::vector<std::string> Remarks(const std::vector<unsigned int>& words, const Scale& scale)
{
    std::vector<std::string> remarks;
    std::size_t more = 0;
    const auto add = [&](std::size_t word, const char* remark) {
        if (remarks.size() < MaxRemarks)
            remarks.push_back("word " + std::to_string(word) + ": " + remark +
                              "; no pattern has such a word");
        else
            ++more;
    };
    if (CyclesOf(words[0]) == 0) add(0, "0 cycles");
    for (std::size_t i = 1; i < words.size(); ++i)
        if (const char* remark = RemarkOn(words[i], scale.timeStepUsec)) add(i, remark);
    if (more != 0) remarks.push_back("and " + std::to_string(more) + " more of that kind");
    return remarks;
}

std::vector<Segment> Segments(const std::vector<unsigned int>& words, const Scale& scale)
{
    std::vector<Segment> segments;
    segments.reserve(words.size());
    ForEachSegment(words, scale, [&](const Segment& segment) { segments.push_back(segment); });
    return segments;
}

std::vector<Segment> Joined(const std::vector<Segment>& segments)
{
    std::vector<Segment> joined;
    for (const Segment& segment : segments) {
        if (!joined.empty() && joined.back().currentUa == segment.currentUa)
            joined.back().durationUsec = segment.startUsec + segment.durationUsec - joined.back().startUsec;
        else
            joined.push_back(segment);
    }
    return joined;
}

bool PlaysPhases(const std::vector<unsigned int>& words, const std::vector<phase>& phases, const Scale& scale)
{
    using namespace TarvUtil::Internal;
    constexpr int Most = static_cast<int>(StimAtom::MaxAmpSteps);
    constexpr double LongestSplit = 512;
    constexpr double SinglePrecision = 1.0 / (1 << 22);
    if (!(scale.timeStepUsec > 0)) return words.empty();
    if (scale.timeStepUsec >= LongestSplit) return true;
    const double rounded = std::max(static_cast<double>(StimPattern::IgnoreUsec), 0.015 * scale.timeStepUsec);
    std::vector<unsigned int> array{1};
    array.insert(array.end(), words.begin(), words.end());
    const std::vector<Segment> segments = Segments(array, scale);
    auto segment = segments.begin();
    double end = 0;
    double slack = scale.timeStepUsec;
    for (const phase& p : phases) {
        const double start = end;
        end += static_cast<double>(p.len);
        slack += rounded + SinglePrecision * (static_cast<double>(p.len) + scale.timeStepUsec);
        const int steps = ToInt(AmplitudeSteps(p.amp, static_cast<float>(scale.ampStepUa)));
        const double currentUa = std::clamp(steps, -Most, Most) * scale.ampStepUa;
        // The currents of the list stand in the order of its phases.
        for (; segment != segments.end(); ++segment) {
            if (segment->currentUa == 0) continue;
            const double segmentEnd = segment->startUsec + segment->durationUsec;
            if (segment->currentUa != currentUa || segmentEnd > end + slack) break;
            if (segment->startUsec < start - slack) return false;
        }
    }
    const bool allFound =
        std::all_of(segment, segments.end(), [](const Segment& s) { return s.currentUa == 0; });
    return allFound && std::fabs(PeriodUsec(array, scale) - end) <= slack;
}

double PeriodUsec(const std::vector<unsigned int>& words, const Scale& scale)
{
    double steps = 0;
    for (std::size_t i = 1; i < words.size(); ++i) steps += Unpack(words[i]).timeSteps;
    return steps * scale.timeStepUsec;
}

Charge ChargeOf(const std::vector<unsigned int>& words, const Scale& scale)
{
    constexpr double NcPerUaUsec = 1e-3;
    Charge charge;
    ForEachSegment(words, scale, [&](const Segment& segment) {
        const double nc = segment.currentUa * segment.durationUsec * NcPerUaUsec;
        (nc > 0 ? charge.positiveNc : charge.negativeNc) += nc;
    });
    return charge;
}

}  // namespace playback
