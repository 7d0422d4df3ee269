#include "LillyPattern.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "Numbers.h"
#include "SpecificationText.h"
#include "TimeSteps.h"

using namespace TarvUtil::Internal;

namespace {

constexpr int OffsetIndex = 0;
constexpr int Phase1Index = LillyPattern::Phase1;
constexpr int IPIIndex = 2;
constexpr int Phase2Index = LillyPattern::Phase2;
constexpr int EndIndex = 4;
constexpr int LillyPhaseCount = 5;

constexpr int LillyTypeID = 1;

constexpr int MaxBalanceMode = 4;

// How many times weaker and longer phase 2 is than phase 1.
float BalanceRatio(int mode)
{
    static constexpr float Ratios[] = {2, 4, 8};  // of modes 2 to 4
    return mode < 2 || mode > MaxBalanceMode ? 1.0f : Ratios[mode - 2];
}

}  // namespace

LillyPattern::LillyPattern(int maxCmdCount, float timeStepUsec, float param2, float param3, float ampStepSize,
                           int balanceMode, float ampMax)
    : StimPattern(maxCmdCount, timeStepUsec, param2, param3, ampStepSize, ampMax), m_balanceMode(balanceMode)
{
    LillyPattern::Defaults();
    m_changeCount = 0;
}

LillyPattern::~LillyPattern() = default;

// --- Virtual interface ---

bool LillyPattern::FromString(std::string spec, float ampStepSize, std::vector<std::string>& errors,
                              std::vector<std::string>& warnings)
{
    if (!ReadSpecification(spec, ampStepSize, errors, warnings)) return false;
    const Fields<4> fields(spec, ':');
    if (fields.count < 4) return true;
    std::string_view mode;
    if (!BracketedValue(fields.field[3], mode)) {
        errors.push_back("invalid charge balance specification string [" + std::string(fields.field[3]) +
                         "].");
        return false;
    }
    SetChargeBalanceMode(std::min(ReadInt(mode), MaxBalanceMode));
    return true;
}

std::string LillyPattern::ToString()
{
    return StimPattern::ToString() + ":ChargeBalanceIdx=[" + std::to_string(BalanceMode()) + "]";
}

float LillyPattern::SetPeriod(float periodMsec)
{
    const float start = PhaseStart(EndIndex);
    SetPhaseLen(EndIndex, std::max(periodMsec * UsecPerMsec, start) - start);
    const float period = Period();
    if (period > TrainLength()) SetTrainLength(period);
    return period;
}

void LillyPattern::Defaults()
{
    ClearPhases();
    m_phases.reserve(LillyPhaseCount);
    AppendPhase(0, 0);
    AppendPhase(100, -3 * m_ampStepSize);
    AppendPhase(100, 0);
    AppendPhase(100, 3 * m_ampStepSize);
    AppendPhase(99700, 0);
    m_trainLengthUsec = 1000000;
    m_roundCyclesDown = 1;
    Touch();
}

bool LillyPattern::PhaseCountFixed()
{
    return true;
}

bool LillyPattern::AutoAdjustEnabled()
{
    return m_autoAdjust != 0;
}

int LillyPattern::TypeID(PatternHelper* patternHelper)
{
    return patternHelper == nullptr ? -1 : LillyTypeID;
}

// --- Parameters ---

float LillyPattern::Offset()
{
    return PhaseLen(OffsetIndex) / UsecPerMsec;
}

float LillyPattern::MaxOffset()
{
    return PhaseLen(OffsetIndex) + PhaseLen(EndIndex) - MinEndLenUsec;
}

float LillyPattern::IPI()
{
    return PhaseLen(IPIIndex);
}

float LillyPattern::Phase1Len()
{
    return PhaseLen(Phase1Index);
}

float LillyPattern::Phase2Len()
{
    return PhaseLen(Phase2Index);
}

float LillyPattern::Phase1Amp()
{
    return PhaseAmp(Phase1Index);
}

float LillyPattern::Phase2Amp()
{
    return PhaseAmp(Phase2Index);
}

float LillyPattern::EndLen()
{
    return PhaseLen(EndIndex);
}

Stim::Polarity LillyPattern::Polarity()
{
    return Phase1Amp() >= 0 ? Stim::PositiveFirst : Stim::NegativeFirst;
}

float LillyPattern::SetOffset(float offsetMsec, bool extendPeriod)
{
    // Of a negative offset not even the room that it would leave counts, unlike of the other lengths.
    SetLength(OffsetIndex, std::max(offsetMsec * UsecPerMsec, 0.0f), extendPeriod);
    return Offset();
}

float LillyPattern::SetIPI(float ipiUsec, bool extendPeriod)
{
    SetLength(IPIIndex, ipiUsec, extendPeriod);
    return IPI();
}

float LillyPattern::SetPhase1Len(float lenUsec, bool extendPeriod)
{
    if (BalanceEnabled())
        BalancePhases(m_balanceMode, Phase1, Len, std::max(lenUsec, 0.0f), extendPeriod);
    else
        SetLength(Phase1Index, lenUsec, extendPeriod);
    return Phase1Len();
}

float LillyPattern::SetPhase2Len(float lenUsec, bool extendPeriod)
{
    if (BalanceEnabled())
        BalancePhases(m_balanceMode, Phase2, Len, lenUsec, false);
    else
        SetLength(Phase2Index, lenUsec, extendPeriod);
    return Phase2Len();
}

void LillyPattern::SetLength(int index, float requestUsec, bool extendPeriod)
{
    const float len = std::max(requestUsec, 0.0f);
    float room = PhaseLen(index) + EndLen() - MinEndLenUsec;
    float period = Period();
    if (requestUsec > room && extendPeriod) {
        period += (requestUsec - room) / UsecPerMsec;
        SetPeriod(period);
        room = requestUsec;
    }
    if (!(room >= len)) return;
    SetPhaseLen(index, len);
    SetPeriod(period);
}

void LillyPattern::SetPhase1Amp(float ampUa)
{
    const float amp = NearestAmplitude(ampUa);
    if (BalanceEnabled())
        BalancePhases(m_balanceMode, Phase1, Amp, amp, false);
    else
        SetPhaseAmp(Phase1Index, amp);
}

void LillyPattern::SetPhase2Amp(float ampUa)
{
    const float amp = NearestAmplitude(ampUa);
    if (BalanceEnabled())
        BalancePhases(m_balanceMode, Phase2, Amp, amp, false);
    else
        SetPhaseAmp(Phase2Index, amp);
}

void LillyPattern::SetPolarity(Stim::Polarity polarity)
{
    const bool turn = (polarity == Stim::NegativeFirst && Phase1Amp() > 0) ||
                      (polarity == Stim::PositiveFirst && Phase1Amp() < 0);
    if (!turn || Phase(Phase2Index) == nullptr) return;
    const phase first = *Phase(Phase1Index);
    const phase second = *Phase(Phase2Index);
    SetPhase(Phase1Index, second);
    SetPhase(Phase2Index, first);
}

// --- Charge balance ---

void LillyPattern::SetChargeBalanceMode(int mode)
{
    if (mode < 0 || mode > MaxBalanceMode || mode == m_balanceMode) return;
    m_balanceMode = mode;
    if (BalanceEnabled()) BalancePhases(mode, Phase1, Amp, Phase1Amp(), false);
}

int LillyPattern::BalanceMode() const
{
    return m_balanceMode;
}

bool LillyPattern::BalanceEnabled() const
{
    return m_balanceMode != 0;
}

int LillyPattern::ChargeBalMult() const
{
    return m_balanceMode == 1 ? 1 : 0;
}

void LillyPattern::BalancePhases(int mode, LillyPhase which, PhaseParam param, float value, bool extendPeriod)
{
    phase first{Phase1Len(), Phase1Amp()};
    phase second{Phase2Len(), Phase2Amp()};
    if (which == Phase1) {
        if (param == Amp)
            first.amp = NearestAmplitude(value);
        else
            first.len = std::max(value, 0.0f);
        const float ratio = BalanceRatio(mode);
        const float balancing = NearestAmplitude(first.amp / ratio);
        second.amp = -balancing;
        second.len = balancing == 0 ? ratio * first.len : first.amp * first.len / balancing;
    }

    const float total = Offset() * UsecPerMsec + first.len + IPI() + second.len;
    float period = Period();
    float limit = period * UsecPerMsec - MinEndLenUsec;
    if (total > limit && extendPeriod) {
        period = (total + MinEndLenUsec) / UsecPerMsec;
        SetPeriod(period);
        limit = period * UsecPerMsec - MinEndLenUsec;
    }
    if (!(limit >= total)) return;
    SetPhase(Phase1Index, first);
    SetPhase(Phase2Index, second);
    SetPeriod(period);
}

// --- Repair ---

bool LillyPattern::AdjustPhaseLen(std::vector<phase>& phases, int index, float delta, bool keepCharge)
{
    if (phases.size() < LillyPhaseCount || index < OffsetIndex || index > EndIndex) return false;
    const float room = UsecPerMsec * (Period() - PeriodTrimmed(-1));
    phase& changed = phases[static_cast<std::size_t>(index)];
    const float len = changed.len + delta;
    if (!(room > delta) || len < 0) return false;

    phase* donor = &phases[EndIndex];
    if (delta > 0 && !(donor->len - delta >= 0)) {
        donor = &phases[OffsetIndex];
        if (!(donor->len - delta >= 0)) return false;
    }
    if (keepCharge) changed.amp = changed.len * changed.amp / len;
    changed.len = len;
    donor->len -= delta;
    return true;
}

bool LillyPattern::OffsetShiftOk(std::vector<phase>& phases, float shift)
{
    constexpr float NearStepStart = 0.1f;  // of a step: a phase that starts or ends so soon may share it
    const float offset = phases.at(OffsetIndex).len;
    const float len = phases.at(Phase1Index).len;
    const float start = (offset + shift) / m_timeStepUsec;
    const float end = (offset + len + shift) / m_timeStepUsec;
    const float step = std::floor(start);
    return !(len <= m_timeStepUsec && step == std::floor(end) && start - step > NearStepStart &&
             end - step > NearStepStart);
}

namespace {

// Walks a list that failed validation and moves phase boundaries onto step boundaries.
class LillyRepair
{
 public:
    LillyRepair(LillyPattern& pattern, int repairs, float timeStepUsec, float ampStepUa,
                std::vector<phase>& phases)
        : m_pattern(pattern),
          m_repairs(repairs),
          m_timeStep(timeStepUsec),
          m_ampStep(ampStepUa),
          m_phases(phases)
    {}

    // Which phase an edit changed first, by a whole microsecond or more, and by how much: it tells which way
    // the IPI may move.
    void FindChange(const std::vector<phase>& current)
    {
        for (std::size_t i = 0; i < m_phases.size() && m_changeUsec == 0; ++i) {
            m_changedPhase = static_cast<int>(i);
            m_changeUsec = ToInt(m_phases[i].len - current.at(i).len);
        }
    }

    // False when a repair is refused or not allowed.
    bool Run(int maxCmds)
    {
        for (std::size_t i = 0; i < m_phases.size(); ++i) {
            if (m_words >= maxCmds) {
                m_phases.resize(i);
                return true;
            }
            const float len = m_phases[i].len;
            const int steps = ToInt(AmplitudeSteps(m_phases[i].amp, m_ampStep));
            if (steps != 0) {
                // A failed repair does not end the walk at once: the later ones of the phase are made, too.
                const bool parted = PartFromActivePhase();
                const bool closed = CloseOpenStep();
                if (!FillSharedStep(static_cast<int>(i), len) || !parted || !closed) return false;
            }
            CountWords(len, steps);
        }
        return true;
    }

 private:
    bool Allowed(LillyPattern::Adjust repair) const { return (m_repairs & repair) != 0; }

    // How far the IPI moves where target would lengthen it to the next step boundary: that far, or back to
    // the boundary before.
    float IPIStep(float target) const
    {
        const float ipi = m_phases.at(IPIIndex).len;
        // When an edit shortened another phase, the IPI is shortened only if half a step of it remains.
        const float least = m_changeUsec < 0 ? 1.5f * m_timeStep : m_timeStep;
        const bool back =
            m_changedPhase == IPIIndex ? m_changeUsec < 0 && ipi - m_carry.time >= 0 : ipi >= least;
        return back ? -m_carry.time : target;
    }

    bool MoveIPI(float delta) { return m_pattern.AdjustPhaseLen(m_phases, IPIIndex, delta, false); }
    bool LengthenOffset(float delta) { return m_pattern.AdjustPhaseLen(m_phases, OffsetIndex, delta, false); }

    // Two active phases meet in one step.
    bool PartFromActivePhase()
    {
        if (!(m_carry.time > 0) || m_carry.lastSteps == 0) return true;
        const float target = m_timeStep - m_carry.time;
        bool moved = false;
        if (Allowed(LillyPattern::AdjustIPI))
            moved = MoveIPI(IPIStep(target));
        else if (Allowed(LillyPattern::AdjustOffset))
            moved = LengthenOffset(target);
        if (moved) m_carry.time = m_timeStep;
        return moved;
    }

    // An active phase follows a step that is still held at a current.
    bool CloseOpenStep()
    {
        if (!m_carry.active) return true;
        const float target = m_timeStep - m_carry.time;
        bool moved = false;
        if (Allowed(LillyPattern::AdjustIPI))
            moved = MoveIPI(IPIStep(target));
        else if (Allowed(LillyPattern::AdjustOffset) && m_pattern.OffsetShiftOk(m_phases, target))
            moved = LengthenOffset(target);
        if (moved) m_carry.time = m_timeStep;
        return moved;
    }

    // An active phase ends well before the step that it shares is full.
    bool FillSharedStep(int index, float len)
    {
        if (!(m_carry.time > 0) || !(len + m_carry.time - m_timeStep < -StimPattern::IgnoreUsec)) return true;
        float delta = m_timeStep - (len + m_carry.time);
        bool filled = false;
        if (index == Phase1Index) {
            filled = Allowed(LillyPattern::AdjustOffset) && LengthenOffset(delta);
        } else if (Allowed(LillyPattern::AdjustIPI)) {
            delta = IPIStep(delta);
            filled = MoveIPI(delta);
        } else if (Allowed(LillyPattern::AdjustPhase2)) {
            filled = m_pattern.AdjustPhaseLen(m_phases, Phase2Index, delta, true);
        }
        if (filled) m_carry.time += delta;
        return filled;
    }

    // Unlike validation this counts a junction word only with carried time, takes a phase for used up by
    // IgnoreFrac, and for active by its whole amplitude steps.
    void CountWords(float len, int steps)
    {
        float time = len + m_carry.time;
        float rest = len;
        if (m_carry.time > 0 && time >= m_timeStep) {
            ++m_words;
            rest = RestAfterJunction(len, m_carry.time, m_timeStep);
            const bool usedUp = rest < StimPattern::IgnoreFrac;
            if (usedUp) rest = 0;
            m_carry.active = !usedUp && steps != 0;
            time = rest;
        }
        if (rest > 0) m_carry.lastSteps = steps;

        const StepCut cut = CutIntoSteps(time, m_timeStep);
        if (cut.count != 0) ++m_words;
        if (cut.rest > StimPattern::IgnoreUsec) {
            m_carry.time = cut.rest;
            if (!(m_carry.active && cut.count == 0)) m_carry.active = steps != 0;
        } else {
            m_carry.time = 0;
            if (cut.count != 0) m_carry.active = false;
        }
    }

    LillyPattern& m_pattern;
    const int m_repairs;
    const float m_timeStep;
    const float m_ampStep;
    std::vector<phase>& m_phases;
    int m_changedPhase = 0;
    int m_changeUsec = 0;
    Carry m_carry;
    int m_words = 0;
};

}  // namespace

bool LillyPattern::AdjustPhases(std::vector<phase>& current, std::vector<phase>& proposed, int maxCmds)
{
    if (proposed.size() == LillyPhaseCount && ListValid(proposed, maxCmds)) return true;
    if (m_autoAdjust == 0) return false;
    if (proposed.empty()) return ListValid(proposed, maxCmds);
    if (!TimeStepUsable(m_timeStepUsec)) return false;
    LillyRepair repair(*this, m_autoAdjust, m_timeStepUsec, m_ampStepSize, proposed);
    repair.FindChange(current);
    return repair.Run(maxCmds) && ListValid(proposed, maxCmds);
}
