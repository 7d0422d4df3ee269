// A byte string as the life of a pattern: constructed with any numbers, edited, overridden, repaired, updated, asked for
// words and played on, in any order. After each operation the promises that hold for every operation are checked.

#include <algorithm>
#include <climits>
#include <cmath>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Bytes.h"
#include "ContinuedItemPlay.h"
#include "HostPattern.h"
#include "LillyPattern.h"
#include "MonoPattern.h"
#include "PausePattern.h"
#include "Playback.h"
#include "SinePattern.h"

using fuzz::Require;

namespace {

using Words = std::vector<unsigned int>;

constexpr unsigned int Untouched = 0xA5C3960FU;

// The whole state of a pattern, read and compared past its interface.
struct State
{
    std::vector<phase> phases;
    std::string label;
    float train, ampStep, ampMax;
    int change, update, arrayChange, wordCount;
    bool overridden;
    unsigned short overrideValue;
    Words array;

    bool SamePattern(const State& o) const
    {
        const bool samePhases =
            phases.size() == o.phases.size() &&
            std::equal(phases.begin(), phases.end(), o.phases.begin(), fuzz::SameBits<phase>);
        return samePhases && label == o.label && fuzz::SameBits(train, o.train) &&
               fuzz::SameBits(ampStep, o.ampStep) && fuzz::SameBits(ampMax, o.ampMax) && change == o.change;
    }
    bool SameArray(const State& o) const
    {
        return update == o.update && arrayChange == o.arrayChange && wordCount == o.wordCount &&
               array == o.array;
    }
};

struct Inside : StimPattern
{
    static State Of(const StimPattern& p)
    {
        const auto& array = p.*(&Inside::m_wordArray);
        return {p.*(&Inside::m_phases),           p.*(&Inside::m_label),
                p.*(&Inside::m_trainLengthUsec),  p.*(&Inside::m_ampStepSize),
                p.*(&Inside::m_ampMax),           p.*(&Inside::m_changeCount),
                p.*(&Inside::m_updateCount),      p.*(&Inside::m_arrayChangeCount),
                p.*(&Inside::m_wordCount),        p.*(&Inside::m_cmdOverride),
                p.*(&Inside::m_cmdOverrideValue), Words(std::begin(array), std::end(array))};
    }

    // As after so many edits that the counts are about to start again at 0.
    static void Age(StimPattern& p, int left)
    {
        const bool current = p.ArrayIsCurrent();
        p.*(&Inside::m_changeCount) = INT_MAX - left;
        p.*(&Inside::m_updateCount) = INT_MAX - left;
        p.*(&Inside::m_arrayChangeCount) = current ? INT_MAX - left : -1;
    }

    static float TimeStep(const StimPattern& p) { return p.*(&Inside::m_timeStepUsec); }
};

class Lilly : public LillyPattern
{
 public:
    using LillyPattern::LillyPattern;
    void Allow(int repairs) { m_autoAdjust = repairs; }
};

// What an operation did, by its own word.
enum class Did
{
    Anything,
    Aged,     // the counts were set, past the interface
    Nothing,  // refused, or only looked
    OneEdit,  // taken, and the change count raised once
};

Did Taken(bool taken)
{
    return taken ? Did::OneEdit : Did::Nothing;
}

class Life
{
 public:
    explicit Life(fuzz::Bytes in) : m_in(in) {}

    void Run()
    {
        if (!Construct()) return;
        CheckState(Inside::Of(*m_pattern));
        constexpr int MaxOperations = 100;
        for (int i = 0; i < MaxOperations && !m_in.Empty(); ++i) {
            const State before = Inside::Of(*m_pattern);
            Check(before, Step());
        }
    }

 private:
    bool Construct()
    {
        const int kind = m_in.Below(6);
        const int budget = m_in.Bool() ? 4 * m_in.Byte() : m_in.Raw<std::int16_t>();
        const float timeStep = m_in.Bool() ? m_in.Float() : m_in.Bool() ? 33.333332f : 20.0f;
        const float ampStep = m_in.Bool() ? m_in.Float() : 10.0f;
        const float ampMax = m_in.Bool() ? m_in.Float() : 1000.0f;
        const bool acceptAll = m_in.Bool();
        bool made = true;
        try {
            if (kind == 0) {
                m_pattern.reset(new fuzz::HostPattern<StimPattern>(acceptAll, budget, timeStep, 1.f, 2.f,
                                                                   ampStep, ampMax));
            } else if (kind == 1) {
                m_pattern.reset(new fuzz::HostPattern<SinePattern>(acceptAll, budget, timeStep, 1.f, 2.f,
                                                                   ampStep, ampMax));
            } else if (kind == 2) {
                m_pattern.reset(new fuzz::HostPattern<MonoPattern>(acceptAll, budget, timeStep, 1.f, 2.f,
                                                                   ampStep, ampMax));
            } else if (kind == 3) {
                m_pattern.reset(
                    new fuzz::HostPattern<PausePattern>(acceptAll, budget, timeStep, 1.f, 2.f, ampStep));
            } else {
                const int mode = m_in.Below(8) - 1;
                m_lilly = new Lilly(budget, timeStep, 1, 2, ampStep, mode, ampMax);
                m_pattern.reset(m_lilly);
                if (!acceptAll) m_lilly->Allow(m_in.Byte() % 8);
            }
        } catch (const std::exception&) {
            made = false;
        }
        Require(made == (budget >= 1 && budget <= StimPattern::MaxWords),
                "a budget of 1 to 1024 words is taken");
        if (!made) return false;
        m_pattern->Defaults();
        m_slot = m_pattern.get();
        m_play = std::make_unique<ContinuedItemPlay>(StimItem{3, &m_slot}, m_in.Raw<int>(), m_in.Raw<long>());
        return true;
    }

    int Index() { return m_in.Below(8) - 1; }

    std::vector<phase> List()
    {
        std::vector<phase> phases(static_cast<std::size_t>(m_in.Below(12)));
        for (phase& p : phases) p = {m_in.Float(), m_in.Float()};
        return phases;
    }

    // Only a repair that lacks phases may throw; an edit has then changed nothing.
    Did Step()
    {
        const int choice = m_in.Byte();
        try {
            if (choice < 48) return Edit(choice % 8);
            if (choice < 96) return Set(choice % 12);
            if (choice < 160 && m_lilly != nullptr) return SetLilly(choice % 13);
            if (choice < 224) return Play(choice % 8);
            return Look(choice % 4);
        } catch (const std::out_of_range&) {
            Require(m_lilly != nullptr, "only the repair of a Lilly pattern throws");
            return choice < 48 ? Did::Nothing : Did::Anything;
        }
    }

    Did Edit(int choice)
    {
        StimPattern& p = *m_pattern;
        const int i = Index();
        const float len = m_in.Float();
        const float amp = m_in.Float();
        const int count = p.PhaseCount();
        switch (choice) {
            case 0:
                return Taken(p.SetPhaseLen(i, len));
            case 1:
                return Taken(p.SetPhaseAmp(i, amp));
            case 2:
                return Taken(p.SetPhase(i, {len, amp}));
            case 3:
            case 4:
                return SetPhases();
            case 5:
                Require(p.InsertPhase(i, len, amp) == count + (std::max(i, 0) < count ? 1 : 0),
                        "inserts one");
                return Did::OneEdit;
            case 6: {
                const bool there = std::max(i, 0) < count;
                Require(p.RemovePhase(i) == count - (there ? 1 : 0), "removes one");
                return Taken(there);
            }
            default:
                Require(p.AppendPhase(len, amp) == count + 1, "appends one");
                return Did::OneEdit;
        }
    }

    Did SetPhases()
    {
        StimPattern& p = *m_pattern;
        const std::vector<phase> list = List();
        const bool taken = p.PhasesValid(list, p.MaxCmds()) && !Same(list, p.Phases());
        p.SetPhases(list);
        if (!taken) return Did::Nothing;
        Require(p.PhaseCount() == static_cast<int>(list.size()), "the list is taken as it is");
        for (int i = 0; i < p.PhaseCount(); ++i) {
            const float max = p.AmpMax();
            Require(!(max >= 0) || !(std::fabs(p.PhaseAmp(i)) > max), "amplitudes are within the largest");
        }
        return Did::OneEdit;
    }

    static bool Same(const std::vector<phase>& a, const std::vector<phase>& b)
    {
        return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                          [](const phase& x, const phase& y) { return x.len == y.len && x.amp == y.amp; });
    }

    Did Set(int choice)
    {
        StimPattern& p = *m_pattern;
        const float value = m_in.Float();
        const int change = p.ChangeCount();
        switch (choice) {
            case 0:
                p.SetAmpStepSize(value, m_in.Bool());
                Require(p.ChangeCount() == change, "the scale does not count as an edit");
                break;
            case 1:
                p.SetAmpMax(value);
                Require(p.ChangeCount() == change, "the scale does not count as an edit");
                break;
            case 2:
                p.SetAmpsToZero();
                Require(p.ChangeCount() == change && p.FirstActivePhase() == -1,
                        "every phase becomes a pause");
                break;
            case 3:
                p.SetFrequency(value);
                break;
            case 4:
                p.SetPeriod(value);
                break;
            case 5:
                p.SetTrainLength(value);
                break;
            case 6:
                p.SetCycleCount(m_in.Raw<int>());
                break;
            case 7:
                p.SetLabel(m_in.Text(m_in.Byte() % 40));
                break;
            case 8:
                if (m_in.Bool()) p.ClearPhases();
                break;
            case 9:
                p.Defaults();
                break;
            case 10:
                FromString();
                break;
            default:
                Inside::Age(p, m_in.Below(4));
                return Did::Aged;
        }
        return Did::Anything;
    }

    void FromString()
    {
        std::vector<std::string> errors;
        std::vector<std::string> warnings;
        const std::string text = m_in.Bool() ? "H" + m_pattern->ToString() : m_in.Text(m_in.Byte());
        const bool read = m_pattern->FromString("Head:" + text, m_in.Float(), errors, warnings);
        Require(!read || errors.empty(), "text that was read has no errors");
    }

    Did SetLilly(int choice)
    {
        LillyPattern& p = *m_lilly;
        const float value = m_in.Float();
        const bool extend = m_in.Bool();
        const auto phaseIndex = m_in.Bool() ? LillyPattern::Phase1 : LillyPattern::Phase2;
        switch (choice) {
            case 0:
                Require(fuzz::SameBits(p.SetOffset(value, extend), p.Offset()), "the value in effect");
                break;
            case 1:
                Require(fuzz::SameBits(p.SetIPI(value, extend), p.IPI()), "the value in effect");
                break;
            case 2:
                Require(fuzz::SameBits(p.SetPhase1Len(value, extend), p.Phase1Len()), "the value in effect");
                break;
            case 3:
                Require(fuzz::SameBits(p.SetPhase2Len(value, extend), p.Phase2Len()), "the value in effect");
                break;
            case 4:
                p.SetPhase1Amp(value);
                break;
            case 5:
                p.SetPhase2Amp(value);
                break;
            case 6:
                p.SetPolarity(static_cast<Stim::Polarity>(m_in.Below(3)));
                break;
            case 7:
                p.SetChargeBalanceMode(m_in.Below(7) - 1);
                break;
            case 8:
                p.BalancePhases(m_in.Below(6), phaseIndex, extend ? LillyPattern::Len : LillyPattern::Amp,
                                value, m_in.Bool());
                break;
            case 9:
                m_lilly->Allow(m_in.Byte() % 8);
                break;
            default:
                return Repair(choice, value, extend);
        }
        return Did::Anything;
    }

    // Repairs of a list of the caller leave the pattern alone.
    Did Repair(int choice, float value, bool keepCharge)
    {
        std::vector<phase> list = m_in.Bool() ? List() : m_lilly->Phases();
        std::vector<phase> current = m_in.Bool() ? list : m_lilly->Phases();
        const int budget = m_in.Bool() ? m_in.Byte() : m_lilly->MaxCmds();
        try {
            if (choice == 10) m_lilly->AdjustPhaseLen(list, Index(), value, keepCharge);
            if (choice == 11) m_lilly->OffsetShiftOk(list, value);
            if (choice == 12 && m_lilly->AdjustPhases(current, list, budget))
                Require(m_lilly->PhasesValid(list, budget), "a list that was accepted is valid");
        } catch (const std::out_of_range&) {
        }
        return Did::Nothing;
    }

    Did Play(int choice)
    {
        StimPattern& p = *m_pattern;
        switch (choice) {
            case 0:
                p.SetCmdOverride(m_in.Bool(), m_in.Raw<unsigned short>());
                break;
            case 1:
                p.Update();
                break;
            case 2:
                Require(p.UpdateWordArray() == p.WordCount(), "the number of words built");
                break;
            case 3:
                p.Touch();
                return Did::OneEdit;
            case 4:
                Write();
                return Did::Nothing;
            case 5:
            case 6:
                Continue();
                break;
            default:
                Ask();
        }
        return Did::Anything;
    }

    // Words fill the buffer as far as the result says, and no further.
    void Ask()
    {
        Words out(static_cast<std::size_t>(StimPattern::MaxWords) + 1, Untouched);
        const int count = m_pattern->WordArray(out.data(), 0);
        const State state = Inside::Of(*m_pattern);
        Require(count == (m_pattern->ArrayIsCurrent() ? state.wordCount : -1),
                "all words of the array, or none");
        Words expected(out.size(), Untouched);
        std::copy_n(state.array.begin(), std::max(count, 0), expected.begin());
        Require(out == expected, "the words, and nothing behind them, are written");
        if (count > 0) {
            out.resize(static_cast<std::size_t>(count));
            Require(playback::Refusal(out).empty(), "the words can be played");
        }
    }

    void Write()
    {
        const int room = m_in.Bool() ? m_in.Byte() : StimPattern::MaxWords;
        Words out(static_cast<std::size_t>(room));
        const int count = m_pattern->WriteStimCmds(out.data(), room);
        Require(count >= -1 && count <= room, "at most as many words as there is room");
        if (count == -1 || Inside::Of(*m_pattern).overridden) return;
        const float step = Inside::TimeStep(*m_pattern);
        for (int i = 0; i < count; ++i) {
            const playback::Word word = playback::Unpack(out[static_cast<std::size_t>(i)]);
            Require(word.timeSteps > 0 && std::abs(word.ampSteps) <= 100,
                    "a word lasts, and is in the output range");
            Require(!word.flag14 || step > 64, "flag 14 is clear while the split point fits below it");
        }
    }

    // The buffer begins at any address.
    void Continue()
    {
        constexpr std::size_t Room = 4 * StimPattern::MaxWords;
        const std::int64_t due = std::min(m_play->m_nextMsec, INT64_MAX - 255);
        const long now = m_in.Bool() ? m_in.Raw<long>() : static_cast<long>(due + m_in.Byte());
        if (m_in.Below(4) == 0)
            *m_play =
                ContinuedItemPlay({3, &m_slot}, m_in.Raw<std::uint16_t>(), std::max(now, LONG_MIN + 3) - 3);
        std::vector<unsigned char> buffer(Room + 1, 0xA5);
        const ContinuedItemPlay before = *m_play;
        const int count = m_play->ContinueCmds(now, buffer.data() + 1);
        const auto beyond = buffer.begin() + 1 + 4 * std::max(count, 0);
        // An array that is current, but empty, has a word 0 all the same.
        Require(std::all_of(beyond + (count == 0 ? 4 : 0), buffer.end(),
                            [](unsigned char c) { return c == 0xA5; }),
                "the words, and nothing behind them, are written");
        if (count < 0) {
            Require(before.m_remCycles == m_play->m_remCycles && before.m_nextMsec == m_play->m_nextMsec,
                    "a refused continuation changes nothing");
            return;
        }
        Require(before.m_remCycles > 0 && before.ReadyToContinue(now),
                "only a block that is left and due is played");
        const int block = std::min(before.m_remCycles, 4095);
        Require(m_play->m_remCycles == before.m_remCycles - (m_pattern->IsContinuous() ? 0 : block),
                "a block is taken off");
        Require(m_play->m_nextMsec >= before.m_nextMsec, "the due time does not run back");
        unsigned int word0 = 0;
        std::memcpy(&word0, buffer.data() + 1, sizeof word0);
        if (count == 0 || before.m_remCycles >= 4095) return;
        Require(playback::IsCycleWord(word0) && playback::CyclesOf(word0) == block,
                "word 0 plays what is left");
    }

    Did Look(int choice)
    {
        StimPattern& p = *m_pattern;
        const int i = Index();
        const float value = m_in.Float();
        if (choice == 0) {
            p.NearestAmplitude(value);
            for (int sign = 0; sign < 4; ++sign) p.MaxAmplitude(static_cast<StimPattern::Sign>(sign));
            p.MaxAbsAmp();
        } else if (choice == 1) {
            Require(p.CycleCount() >= 1, "at least one cycle");
            Require(p.IsContinuous() == (p.CycleCount() == INT_MAX), "continuous is the largest count");
            p.TrainPeriodMismatchPct();
            p.TrainPeriodMismatch(static_cast<Stim::ReturnSign>(i));
            p.PeriodTrimmed(i);
        } else if (choice == 2) {
            Require(p.FirstActivePhase() <= p.LastActivePhase(), "first and last");
            Require((p.Phase(i) != nullptr) == (i >= 0 && i < p.PhaseCount()), "phases in the list");
            p.FirstActiveTime();
            p.PhaseStart(i);
        } else {
            Require(p.ToString().find("DurationMsec=[") != std::string::npos, "the train is printed");
            Require(!p.Equals(nullptr) && p.WordArray(nullptr, 0) == -1, "null is refused");
        }
        return Did::Nothing;
    }

    void Check(const State& before, Did did) const
    {
        const State after = Inside::Of(*m_pattern);
        if (did == Did::Nothing)
            Require(after.SamePattern(before) && after.SameArray(before), "what is refused changes nothing");
        if (did == Did::OneEdit)
            Require(after.change == (before.change == INT_MAX ? 0 : before.change + 1) &&
                        !m_pattern->ArrayIsCurrent(),
                    "an edit raises the count once and makes the array stale");
        if (did == Did::Aged) return CheckState(after);
        if (after.update == before.update)
            Require(after.wordCount == before.wordCount && after.array == before.array,
                    "the array changes only when it is rebuilt");
        else if (after.wordCount > 0)
            CheckFresh(after);
        CheckState(after);
    }

    void CheckState(const State& state) const
    {
        Require(state.wordCount >= 0 && state.wordCount <= m_pattern->MaxCmds() + 1,
                "the words are within the budget");
        Require(state.change >= 0 && state.update >= 0, "counts are not negative");
        Require(state.arrayChange <= state.change, "no array is from the future");
    }

    // The words of an array just built are those that the pattern writes now.
    void CheckFresh(const State& state) const
    {
        Words fresh(state.array.size(), 0);
        m_pattern->WriteVekCmd(fresh.data());
        const int count = m_pattern->WriteStimCmds(fresh.data() + 1, m_pattern->MaxCmds());
        Require(count + 1 == state.wordCount, "a fresh build has as many words");
        Require(std::equal(fresh.begin(), fresh.begin() + state.wordCount, state.array.begin()),
                "a fresh build has the same words");
    }

    fuzz::Bytes m_in;
    std::unique_ptr<StimPattern> m_pattern;
    Lilly* m_lilly = nullptr;  // the pattern, when it is one
    StimPattern* m_slot = nullptr;
    std::unique_ptr<ContinuedItemPlay> m_play;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Life(fuzz::Bytes(data, size)).Run();
    return 0;
}
