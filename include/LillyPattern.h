#pragma once

#include <string>
#include <vector>

#include "StimPattern.h"
#include "TarvUtilExport.h"

// The Lilly pattern: a charge-balanced biphasic pulse inside a period, five phases long.
//
//     index     0          1         2         3            4
//           |  offset | phase 1 |   IPI   | phase 2 |   end phase         |
//     uA    |         |         |         +---------+                     |
//           +---------+         +---------+         +---------------------+
//           |         +---------+                                         |
//           |<------------------------- period -------------------------->|
//
// Phase 1 and phase 2 carry the current, normally in opposite directions; the sign of phase 1 is the
// polarity. IPI is the interphase interval. The end phase is the rest of the period: after a setter has
// changed another length, it sets the period again, and the end phase changes by the difference. A setter does
// not make the end phase shorter than its minimum of 33.333332 us, unless the caller allows the period to
// grow; SetPeriod itself may.
//
// Charge balance: with a balance mode the two phases carry the same charge (amplitude x length) in opposite
// directions, so that no net charge stays in the tissue. Phase 2 is computed from phase 1; it is weaker and
// longer by the ratio of the mode:
//
//     mode   0     1           2     3     4
//     ratio  off   1 (mirror)  2     4     8
//
// Balancing sets phase 1, then phase 2. Each is clamped to AmpMax, and each edit can be repaired or refused.
// When an amplitude is clamped, or one of the two edits is refused or repaired, the charges can differ: compare
// Phase1Len() x Phase1Amp() with Phase2Len() x Phase2Amp() before playing. In addition, the words are cut to
// whole steps. The constructor and edits through StimPattern do not balance.
//
// Repair: a list that does not fit the time steps is repaired by moving phase boundaries onto step boundaries
// (AdjustPhases), so a setter's result may differ from the request; it is the value in effect.
//
// A setter makes several guarded edits (SetPhaseLen, SetPhaseAmp, SetPhase, SetTrainLength). Each raises the
// change count by 1 when it is accepted. A std::bad_alloc stops a setter between two edits; each single edit is
// all or nothing. On a list of fewer than three phases, after raw edits or because of the budget, a setter can
// throw std::out_of_range; its earlier edits and a new mode then stay in force.
//
// A pattern object must be used by one thread at a time.
class TARVUTIL_EXPORT LillyPattern : public StimPattern
{
 public:
    // The phase of a balancing call; the values are phase indices.
    enum LillyPhase : int
    {
        Phase1 = 1,  // the one that is set
        Phase2 = 3,  // computed from phase 1 while a balance mode is set
    };

    // The quantity of a balancing call.
    enum PhaseParam : int
    {
        Len = 0,  // a length, microseconds
        Amp = 1,  // an amplitude, microamperes
    };

    // The repairs that AdjustPhases may make, bits of m_autoAdjust.
    enum Adjust : int
    {
        AdjustIPI = 1,     // lengthen or shorten the IPI
        AdjustPhase2 = 2,  // lengthen phase 2, its charge kept
        AdjustOffset = 4,  // lengthen the offset
    };

    // The end phase that the setters leave at least: the float nearest to 100/3 microseconds.
    static constexpr float MinEndLenUsec = 33.333332f;

    // A Lilly pattern with its Defaults, change count 0 and all repairs enabled. balanceMode is kept as
    // given, without balancing; the other arguments and the refusal are StimPattern's.
    LillyPattern(int maxCmdCount, float timeStepUsec, float param2, float param3, float ampStepSize,
                 int balanceMode, float ampMax);
    LillyPattern(const LillyPattern& other) = default;             // as StimPattern's, with mode and repairs
    LillyPattern& operator=(const LillyPattern& other) = default;  // as StimPattern's, with mode and repairs
    ~LillyPattern() override;

    // As StimPattern's, with an optional fourth field, the charge-balance mode:
    //
    //     Head:(0,0)(200,-60)(100,0)(400,30)(9300,0):DurationMsec=[1000]:ChargeBalanceIdx=[2]
    //
    // A number above 4 counts as 4, a negative one is ignored, and no number reads as 0. A field that is not of
    // the form name[number] appends "invalid charge balance specification string [%s]." to errors and returns
    // false; the phases and the train stay as read. A new mode rebuilds phase 2 (SetChargeBalanceMode), also
    // that of the old phases when SetPhases refused the list.
    bool FromString(std::string spec, float ampStepSize, std::vector<std::string>& errors,
                    std::vector<std::string>& warnings) override;
    // StimPattern's text followed by ":ChargeBalanceIdx=[%d]".
    std::string ToString() override;

    // Sets the period, milliseconds, by the length of the end phase (count +1 when taken, also when nothing
    // differs); a period shorter than phases 0 to 3 gives an end phase of 0. A train shorter than the period
    // becomes one period (count +1). Returns the period then in force, milliseconds.
    float SetPeriod(float periodMsec) override;
    // (0, 0) (100, -3 steps) (100, 0) (100, 3 steps) (99700, 0): a period of 100 ms, and a train of 1 s whose
    // cycles are rounded down. Scale, label, balance mode and repairs stay. Raises the count for every list
    // operation and once more.
    void Defaults() override;
    // Always true.
    bool PhaseCountFixed() override;
    // True when any repair is enabled.
    bool AutoAdjustEnabled() override;

    // Accepts a valid list of five phases. When no repair is enabled, it refuses all other lists. Otherwise it
    // moves phase boundaries of proposed that fall inside a time step to step boundaries, as the bits of
    // m_autoAdjust allow. Three situations are repaired:
    //   two active phases meet in one step, or an active phase starts while the step still carries current:
    //     the IPI is lengthened to the next step boundary or shortened to the one before, else the offset
    //     grows
    //   an active phase ends well before the step that it shares is full:
    //     phase 1: the offset grows; another: the IPI moves, else phase 2 is lengthened with its charge kept
    // The end phase (or the offset) changes by the same time, so that the period stays. When maxCmds words are
    // used up, the rest of the list is cut off, and the period is shorter by it. Returns whether the resulting
    // list passes PhasesValid; false at the first repair that is refused or not allowed. Repairs stay in
    // proposed either way; current and the change count do not change. current and proposed may be the same
    // object. With a time step that is not positive and finite, refuses without changing the list.
    // Throws std::out_of_range when current ends before a difference to proposed is found, and when a repair
    // needs a phase that the list does not have.
    bool AdjustPhases(std::vector<phase>& current, std::vector<phase>& proposed, int maxCmds) override;
    // 1; -1 when patternHelper is null.
    int TypeID(PatternHelper* patternHelper) override;

    // --- Parameters ---

    float Offset();             // offset, milliseconds
    float MaxOffset();          // the offset that leaves the end phase at its minimum, microseconds
    float IPI();                // interphase interval, microseconds
    float Phase1Len();          // microseconds
    float Phase2Len();          // microseconds
    float Phase1Amp();          // microamperes
    float Phase2Amp();          // microamperes
    float EndLen();             // rest of the period, microseconds
    Stim::Polarity Polarity();  // the sign of phase 1; an amplitude of 0 counts as positive

    // Set a length and keep the period: the end phase changes by the difference. A negative request counts as
    // 0. A request that does not leave the minimum end phase changes nothing, unless extendPeriod lets the
    // period grow. The period then stays longer even when the edit of the phase is refused, and so does the
    // train if it was shorter than the new period. While a balance mode is set, SetPhase1Len rebuilds phase 2
    // as well and SetPhase2Len changes nothing. Return the length in effect. The unit of SetOffset is
    // milliseconds, that of the others microseconds.
    float SetOffset(float offsetMsec, bool extendPeriod);
    float SetIPI(float ipiUsec, bool extendPeriod);        // as SetOffset, in microseconds
    float SetPhase1Len(float lenUsec, bool extendPeriod);  // as SetOffset, in microseconds
    float SetPhase2Len(float lenUsec, bool extendPeriod);  // as SetOffset, in microseconds

    // Set an amplitude, microamperes, rounded by NearestAmplitude and clamped to AmpMax. While a balance mode
    // is set, SetPhase1Amp rebuilds phase 2 as well, each phase clamped separately, and SetPhase2Amp changes
    // nothing.
    void SetPhase1Amp(float ampUa);
    void SetPhase2Amp(float ampUa);  // as SetPhase1Amp; nothing while a balance mode is set

    // Exchanges phases 1 and 2, lengths and amplitudes, when phase 1 has the other sign. Any other value of
    // polarity and a phase 1 of amplitude 0 change nothing. Makes two guarded edits. When the second is
    // refused, both phases are equal, with the same sign and twice the charge: compare their amplitudes
    // afterwards. The period is not set again.
    void SetPolarity(Stim::Polarity polarity);

    // --- Charge balance ---

    // Sets the mode, 0 to 4; unless it is 0, rounds phase 1 to whole amplitude steps and rebuilds phase 2
    // from it. If the new pair does not fit the period, the phases stay as they were, but the new mode is set.
    // Other modes, and the mode that is already set, change nothing.
    void SetChargeBalanceMode(int mode);
    int BalanceMode() const;  // the charge-balance mode, 0 off
    // True when the mode is not 0.
    bool BalanceEnabled() const;
    // 1 in mode 1, 0 in every other mode.
    int ChargeBalMult() const;

    // Sets the new length or amplitude of phase 1 and computes phase 2. The amplitude of phase 2 is that of
    // phase 1 divided by the ratio of mode (1 for modes other than 2 to 4), rounded by NearestAmplitude, with
    // the other sign. Its length makes the charges equal after that rounding. For Phase2 both phases are
    // written back as they are. The period stays; a pair that does not leave the minimum end phase changes
    // nothing unless extendPeriod lets the period grow to fit exactly.
    //
    //     phase 1 (100, -30), step 10:  mode 1 -> (100, 30),  mode 2 -> (150, 20),  mode 3 -> (300, 10)
    void BalancePhases(int mode, LillyPhase which, PhaseParam param, float value, bool extendPeriod);

    // --- Repair ---

    // Changes the length of phase index of phases by delta, microseconds, and that of the end phase by the
    // opposite (that of the offset when the end phase is too short). With keepCharge the amplitude changes so
    // that the charge stays, not rounded to amplitude steps (and not finite for a new length of 0). Refuses a
    // list of fewer than five phases, an index outside 0 to 4, a delta that is not less than the silent time at
    // the start and end of the pattern's own period, a length below 0, and a change for which neither phase is
    // long enough. When the offset is the phase to change and would also have to become shorter for it, the
    // lengths stay as they were, and the result is true.
    bool AdjustPhaseLen(std::vector<phase>& phases, int index, float delta, bool keepCharge);

    // False when a shift of the offset by shift microseconds would put a phase 1 of at most one time step
    // completely inside one step, starting and ending more than a tenth of a step after the start of the step.
    // Throws std::out_of_range for fewer than two phases.
    bool OffsetShiftOk(std::vector<phase>& phases, float shift);

 protected:
    int m_balanceMode;                                           // charge-balance mode, 0 off
    int m_autoAdjust = AdjustIPI | AdjustPhase2 | AdjustOffset;  // repairs that AdjustPhases may make

 private:
    void SetLength(int index, float requestUsec, bool extendPeriod);
};

// The types of BalancePhases under their own names: a host may write either.
using LillyPhase = LillyPattern::LillyPhase;
using PhaseParam = LillyPattern::PhaseParam;
