#include "DeviationsReplay.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "StimAtom.h"

namespace {

constexpr unsigned int MaxStepsPerWord = 65535;
constexpr unsigned int LowHalf = 0xFFFFU;
constexpr unsigned int InPulseFlag = 0x8000U;

int WholePart(float value)
{
    constexpr float LargestBelowLimit = 2147483520.0f;
    return static_cast<int>(std::clamp(value, -LargestBelowLimit, LargestBelowLimit));
}

}  // namespace

WordReplay::WordReplay(const playback::Scale& scale, const std::vector<unsigned int>* words)
    : m_scale(scale),
      m_timeStep(static_cast<float>(scale.timeStepUsec)),
      m_ampStep(static_cast<float>(scale.ampStepUa)),
      m_words(words)
{}

bool WordReplay::Take(const phase& p, bool last, Placement& at)
{
    const float amplitude = m_ampStep == 0 ? 0 : p.amp / m_ampStep;
    const bool active = amplitude != 0;
    const int ampSteps = WholePart(amplitude);
    constexpr int MaxSteps = static_cast<int>(StimAtom::MaxAmpSteps);
    at = {};
    at.ampSteps = std::clamp(ampSteps, -MaxSteps, MaxSteps);
    const double start = PlayedUsec();
    const double carried = CarriedUsec();
    at.startUsec = start;

    float time = m_carried + p.len;
    if (m_carried > 0 && time < std::floor(m_timeStep)) return false;
    const bool junction = JunctionDue(active, time);
    if (junction && !TakeJunction(p, ampSteps, active, time, at)) return false;
    if (!junction && p.len > 0) m_lastSteps = ampSteps;
    if (!TakeSteps(time, ampSteps, active)) return false;
    at.gainedUsec = PlayedUsec() - start + CarriedUsec() - carried - at.junction.lengthenedUsec -
                    static_cast<double>(p.len);
    const bool tail = last && m_carried > 0;
    if (carried > 0 && !junction) {
        at.lost = !(p.len > 0) && PlayedUsec() == start && !tail;
        at.takenUsec = at.lost ? 0 : carried;
    }
    at.paddedUsec = tail ? m_scale.timeStepUsec - CarriedUsec() : 0;
    return !tail || TakeShared(ampSteps, true, at.tail);
}

bool WordReplay::JunctionDue(bool active, float time) const
{
    if (!(m_carried > 0)) return false;
    if (!active) return true;
    return m_lastSteps == 0 && !m_carriedActive && time - m_timeStep >= -StimPattern::IgnoreUsec;
}

// Leaves in time what is left of the phase behind the shared step.
bool WordReplay::TakeJunction(const phase& p, int ampSteps, bool active, float& time, Placement& at)
{
    const bool carriedCurrent = m_lastSteps != 0;
    if (!TakeShared(carriedCurrent ? m_lastSteps : ampSteps, carriedCurrent, at.junction)) return false;
    at.startUsec = at.junction.changeUsec;
    time = p.len - (m_timeStep - m_carried);
    if (time < StimPattern::IgnoreUsec) {
        time = 0;
        m_carriedActive = false;
    } else {
        m_lastSteps = ampSteps;
        m_carriedActive = active;
    }
    return true;
}

bool WordReplay::TakeSteps(float time, int ampSteps, bool active)
{
    const float steps = time / m_timeStep;
    const int whole = WholePart(std::floor(steps + StimPattern::IgnoreFrac));
    const float rest = (steps - static_cast<float>(whole)) * m_timeStep;
    const bool carries = rest > StimPattern::IgnoreUsec;
    m_carried = carries ? rest : 0;
    if (whole == 0) {
        m_carriedActive = m_carriedActive || (carries && active);
        return true;
    }
    m_carriedActive = carries && active;
    if (m_words == nullptr) {
        m_steps += whole;
        return true;
    }
    auto count = static_cast<unsigned int>(whole);
    for (; count > MaxStepsPerWord; count -= MaxStepsPerWord)
        if (!TakeWord(ampSteps, MaxStepsPerWord, active, 0)) return false;
    return TakeWord(ampSteps, count, active, 0);
}

// The word of a step that holds a current before the carried time is over, or after it.
bool WordReplay::TakeShared(int ampSteps, bool currentFirst, SharedStep& step)
{
    const double start = PlayedUsec();
    step.word = m_next;
    step.splitUsec = static_cast<unsigned int>(WholePart(m_carried));
    if (!TakeWord(ampSteps, 1, !currentFirst, step.splitUsec)) return false;
    step.lengthenedUsec = (m_word.timeSteps - 1.0) * m_scale.timeStepUsec;
    step.changeUsec = start + CarriedUsec();
    if (ampSteps == 0) return true;
    const bool untilEnd = currentFirst && m_word.ampAfterSplit;
    step.changeUsec = untilEnd ? PlayedUsec() : std::min(start + m_word.splitUsec, PlayedUsec());
    step.cutUsec = CarriedUsec() - step.splitUsec;
    step.errorUsec = step.changeUsec - start - step.splitUsec;
    return true;
}

// Takes the next word of the array, which must be this one. The in-pulse flag says nothing about the current,
// and where the phases carry none the low half is empty.
bool WordReplay::TakeWord(int ampSteps, unsigned int timeSteps, bool ampAfterSplit, unsigned int splitUsec)
{
    unsigned int written = 0;
    StimAtom(ampSteps, timeSteps, ampAfterSplit, splitUsec, false, false).WriteCmd(&written);
    const unsigned int taken = m_words == nullptr         ? written
                               : m_next < m_words->size() ? (*m_words)[m_next]
                                                          : 0;
    ++m_next;
    m_word = playback::Unpack(taken);
    m_steps += m_word.timeSteps;
    return (taken | InPulseFlag) == (written | InPulseFlag) ||
           (ampSteps == 0 && taken == (written & ~LowHalf));
}
