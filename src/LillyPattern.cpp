#include "LillyPattern.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <utility>

#include "LillyBalance.h"
#include "LillyRepair.h"
#include "Numbers.h"
#include "SpecificationReader.h"
#include "SpecificationText.h"
#include "TimeSteps.h"

using namespace TarvUtil::Internal;

namespace {

constexpr int LillyTypeID = 1;

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
    PatternText read;
    if (!ReadText(spec, ampStepSize, errors, warnings, read)) return false;
    SetPhases(std::move(read.phases));
    SetTrainLength(read.durationMsec);
    const Fields<1> last(read.rest, ':');
    if (last.count == 0) return true;
    std::string_view mode;
    if (!BracketedValue(last.field[0], mode)) {
        errors.push_back("invalid charge balance specification string [" + std::string(last.field[0]) + "].");
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
    // A negative offset counts as 0 before the room is checked; the other lengths only after it.
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
    constexpr float NearStepStart =
        0.1f;  // of a step: a phase that starts or ends so soon may share it; checked in the field
    const float offset = phases.at(OffsetIndex).len;
    const float len = phases.at(Phase1Index).len;
    const float start = (offset + shift) / m_timeStepUsec;
    const float end = (offset + len + shift) / m_timeStepUsec;
    const float step = std::floor(start);
    return !(len <= m_timeStepUsec && step == std::floor(end) && start - step > NearStepStart &&
             end - step > NearStepStart);
}

bool LillyPattern::AdjustPhases(std::vector<phase>& current, std::vector<phase>& proposed, int maxCmds)
{
    if (proposed.size() == LillyPhaseCount && ListValid(proposed, maxCmds)) return true;
    if (m_autoAdjust == 0) return false;
    if (proposed.empty()) return ListValid(proposed, maxCmds);
    if (!TimeStepUsable(m_timeStepUsec)) return false;
    return RepairPhases(*this, m_autoAdjust, m_timeStepUsec, m_ampStepSize, current, proposed, maxCmds) &&
           ListValid(proposed, maxCmds);
}
