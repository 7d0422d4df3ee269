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

namespace {

// Follows the phases of a list with what is played, whose currents are in amplitude steps.
class ListFollower
{
 public:
    ListFollower(const std::vector<phase>& phases, const Scale& scale)
        : m_phases(phases),
          m_scale(scale),
          m_roundedUsec(std::max(static_cast<double>(StimPattern::IgnoreUsec), 0.015 * scale.timeStepUsec)),
          m_slackUsec(scale.timeStepUsec)
    {
        Begin();
    }

    // Whether a current is that of the present phase or of a later one, and lies where the phase does.
    bool Takes(const Segment& played)
    {
        const double end = played.startUsec + played.durationUsec;
        while (played.currentUa != m_ampSteps || end > m_endUsec + m_slackUsec)
            if (!Next()) return false;
        m_leftUsec -= played.durationUsec;
        return played.startUsec >= m_startUsec - m_slackUsec;
    }

    // Whether the rest of the list has no current to be played, and all of it lasts so long.
    bool EndsAt(double usec)
    {
        while (m_index < m_phases.size())
            if (!Next()) return false;
        return std::fabs(usec - m_endUsec) <= m_slackUsec;
    }

 private:
    void Begin()
    {
        using namespace TarvUtil::Internal;
        constexpr int Most = static_cast<int>(StimAtom::MaxAmpSteps);
        constexpr double SinglePrecision = 1.0 / (1 << 22);
        m_ampSteps = m_leftUsec = 0;
        if (m_index == m_phases.size()) return;
        const phase& p = m_phases[m_index];
        const int steps = ToInt(AmplitudeSteps(p.amp, static_cast<float>(m_scale.ampStepUa)));
        m_ampSteps = std::clamp(steps, -Most, Most);
        m_leftUsec = static_cast<double>(p.len);
        m_startUsec = m_endUsec;
        m_endUsec += m_leftUsec;
        m_slackUsec += m_roundedUsec + SinglePrecision * (m_leftUsec + m_scale.timeStepUsec);
    }

    // Goes to the next phase. False at the end of the list, and if the current of this one is not played: what is left of
    // it cannot lie in the shared steps at its ends, or have been taken for an earlier phase of the same current.
    bool Next()
    {
        const bool isMissing = m_ampSteps != 0 && m_leftUsec > 2 * m_slackUsec + m_scale.timeStepUsec;
        if (isMissing || m_index == m_phases.size()) return false;
        ++m_index;
        Begin();
        return true;
    }

    const std::vector<phase>& m_phases;
    const Scale& m_scale;
    const double m_roundedUsec;  // by which a count can differ from its time
    std::size_t m_index = 0;
    double m_startUsec = 0;
    double m_endUsec = 0;
    double m_slackUsec;
    double m_ampSteps = 0;
    double m_leftUsec = 0;  // of the phase, not yet played
};

}  // namespace

bool PlaysPhases(const std::vector<unsigned int>& words, const std::vector<phase>& phases, const Scale& scale)
{
    constexpr double LongestSplit = 512;
    if (!(scale.timeStepUsec > 0)) return words.size() == 1;
    if (scale.timeStepUsec >= LongestSplit) return true;
    ListFollower follower(phases, scale);
    bool plays = true;
    ForEachSegment(words, {scale.timeStepUsec, 1}, [&](const Segment& segment) {
        plays = plays && (segment.currentUa == 0 || follower.Takes(segment));
    });
    return plays && follower.EndsAt(PeriodUsec(words, scale));
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
