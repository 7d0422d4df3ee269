// Any bytes as the life of a pattern: constructed with any numbers, then edited, overridden, repaired, updated,
// encoded and played, in any order. After each operation the promises of all operations are checked.

#include <algorithm>
#include <climits>
#include <cmath>
#include <exception>
#include <memory>
#include <stdexcept>
#include <vector>

#include "ContinuedItemPlay.h"
#include "Fuzz.h"
#include "LillyPattern.h"
#include "Playback.h"

namespace {

using Words = std::vector<unsigned int>;
using PhaseList = std::vector<phase>;

// A host's kind that accepts valid lists, or every list, so that the build has to refuse it.
struct Host : StimPattern
{
    Host(bool all, int budget, float timeStep, float ampStep, float ampMax)
        : StimPattern(budget, timeStep, 1, 2, ampStep, ampMax), takesAll(all)
    {}
    float SetPeriod(float periodMsec) override { return SetPhaseLen(0, periodMsec) ? periodMsec : 0; }
    void Defaults() override { AppendPhase(100, -10); }
    bool PhaseCountFixed() override { return false; }
    bool AutoAdjustEnabled() override { return false; }
    bool AdjustPhases(PhaseList& /*current*/, PhaseList& proposed, int maxCmds) override
    {
        return takesAll || ListValid(proposed, maxCmds);
    }
    bool takesAll;
};

struct Lilly : LillyPattern
{
    using LillyPattern::LillyPattern, LillyPattern::m_autoAdjust;
};

// The state of a pattern, bit for bit.
struct State
{
    std::string pattern, array;  // what edits may change, and what builds may
    int change, update, wordCount;
};

struct Inside : StimPattern
{
    static State Of(const StimPattern& p)
    {
        State state{p.Label(), {}, p.ChangeCount(), p.UpdateCount(), p.WordCount()};
        const auto add = [](std::string& bytes, const auto& value) {
            bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
        };
        for (const phase& each : p.*(&Inside::m_phases)) add(state.pattern, each);
        for (const auto member : {&Inside::m_trainLengthUsec, &Inside::m_ampStepSize, &Inside::m_ampMax})
            add(state.pattern, p.*member);
        add(state.array, p.*(&Inside::m_wordArray));
        return state;
    }

    // As after so many edits and builds that the counts will soon start again at 0, the count of the last array.
    static void Age(StimPattern& p, int left)
    {
        p.*(&Inside::m_arrayChangeCount) = 0;
        p.*(&Inside::m_changeCount) = p.*(&Inside::m_updateCount) = INT_MAX - left;
    }

    static bool Overridden(const StimPattern& p) { return p.*(&Inside::m_cmdOverride); }
    static float TimeStepOf(const StimPattern& p) { return p.*(&Inside::m_timeStepUsec); }
};

bool Same(const phase& a, const phase& b)
{
    return a.len == b.len && a.amp == b.amp;
}

// Open to the operations in the table at its end.
struct Life
{
    explicit Life(FuzzedDataProvider& input) : in(input), flag(input.ConsumeBool())
    {
        const int budget = flag ? Below(1025) : in.ConsumeIntegral<std::int16_t>();
        const float timeStep = in.ConsumeBool() ? AnyFloat(in) : 33.333332f;
        const float ampStep = in.ConsumeBool() ? AnyFloat(in) : 10.0f;
        const float ampMax = in.ConsumeBool() ? AnyFloat(in) : 1000.0f;
        try {
            if (in.ConsumeBool())
                p = std::make_unique<Host>(in.ConsumeBool(), budget, timeStep, ampStep, ampMax);
            else
                p.reset(lilly = new Lilly(budget, timeStep, 1, 2, ampStep, Below(8) - 1, ampMax));
            if (in.ConsumeBool()) Inside::Age(*p, Below(4));
        } catch (const std::exception&) {
        }
        Require((p != nullptr) == (budget >= 1), "1 word and more are a budget");
        slot = p.get();
    }

    void Run()
    {
        for (int i = 0; p != nullptr && i < 100 && in.remaining_bytes() > 0; ++i) Step();
    }

    void Step()
    {
        const State before = Inside::Of(*p);
        index = Below(8) - 1;
        x = AnyFloat(in);
        y = AnyFloat(in);
        flag = in.ConsumeBool();
        refused = edited = false;
        const int operation = Below(lilly != nullptr ? All : Common);
        try {
            Operations[operation](*this);
        } catch (const std::out_of_range&) {
            Require(lilly != nullptr, "only the repair of a Lilly pattern throws, when it lacks a phase");
            refused = operation < SingleEdits;
        }
        Check(before, Inside::Of(*p));
    }

    void Check(const State& before, const State& after) const
    {
        Require(!refused || (after.pattern == before.pattern && after.array == before.array &&
                             after.change == before.change && after.update == before.update),
                "what is refused changes nothing");
        Require(!edited || after.change == (before.change == INT_MAX ? 0 : before.change + 1),
                "an edit counts once");
        if (after.update == before.update) {
            Require(after.array == before.array && after.wordCount == before.wordCount,
                    "the array changes only when it is rebuilt");
            Require(after.change == before.change || !p->ArrayIsCurrent(), "an edit makes the array stale");
        } else if (after.wordCount > 0) {
            Words fresh(StimPattern::MaxWords);
            p->WriteVekCmd(fresh.data());
            Require(1 + p->WriteStimCmds(fresh.data() + 1, StimPattern::MaxWords - 1) == after.wordCount &&
                        ArrayHolds(fresh),
                    "a fresh build gives the same words");
        }
        Require(after.change >= 0 && after.update >= 0, "counts are not negative");
        Require(after.wordCount >= 0 && after.wordCount <= std::min(p->MaxCmds() + 1, StimPattern::MaxWords),
                "the words are within the budget");
    }

    bool ArrayHolds(const Words& words) const
    {
        const auto size = sizeof(unsigned int) * static_cast<std::size_t>(p->WordCount());
        return std::memcmp(Inside::Of(*p).array.data(), words.data(), size) == 0;
    }

    int Below(int limit) { return in.ConsumeIntegralInRange(0, limit - 1); }
    void Taken(bool taken) { (taken ? edited : refused) = true; }

    PhaseList List()
    {
        PhaseList phases(static_cast<std::size_t>(Below(12)));
        for (phase& each : phases) each = {AnyFloat(in), AnyFloat(in)};
        return phases;
    }

    void SetPhases()
    {
        const PhaseList list = List(), before = p->Phases();
        Taken(p->PhasesValid(list, p->MaxCmds()) &&
              !std::equal(list.begin(), list.end(), before.begin(), before.end(), Same));
        p->SetPhases(list);
        Require(refused || !(p->AmpMax() >= 0) || !(std::fabs(p->MaxAbsAmp()) > p->AmpMax()),
                "amplitudes are within the largest");
    }

    void FromString()
    {
        std::vector<std::string> errors, warnings;
        const std::string text = flag ? p->ToString() : in.ConsumeRandomLengthString(256);
        const bool read = p->FromString("Head:" + text, y, errors, warnings);
        Require(!read || errors.empty(), "text that was read has no errors");
    }

    // Repairs of a list of the caller leave the pattern alone.
    void Repair(bool wholeList)
    {
        refused = true;
        PhaseList list = flag ? List() : lilly->Phases();
        PhaseList current = in.ConsumeBool() ? list : lilly->Phases();
        const int budget = Below(256);
        try {
            if (!wholeList && lilly->OffsetShiftOk(list, x)) lilly->AdjustPhaseLen(list, index, x, flag);
            Require(
                !wholeList || !lilly->AdjustPhases(current, list, budget) || lilly->PhasesValid(list, budget),
                "a list that was accepted is valid");
        } catch (const std::out_of_range&) {
        }
    }

    // The result is the number of words written to the buffer; nothing is written after them.
    void Ask()
    {
        constexpr unsigned int Untouched = 0xA5C3960FU;
        Words words(StimPattern::MaxWords + 1, Untouched);
        const int count = p->WordArray(words.data(), 0);
        Require(count == (p->ArrayIsCurrent() ? p->WordCount() : -1), "all words of the array, or none");
        const auto end = words.begin() + std::max(count, 0);
        Require(std::all_of(end, words.end(), [](unsigned int word) { return word == Untouched; }),
                "nothing is written after the words");
        Require(count < 1 || ArrayHolds(words), "the array is copied");
        words.erase(end, words.end());
        Require(count < 1 || playback::Refusal(words).empty(), "the words can be played");
    }

    void Write()
    {
        refused = true;
        Words words(static_cast<std::size_t>(flag ? Below(256) : StimPattern::MaxWords));
        const int room = static_cast<int>(words.size()), count = p->WriteStimCmds(words.data(), room);
        Require(count >= -1 && count <= room, "at most as many words as there is room");
        if (count < 0 || Inside::Overridden(*p)) return;
        words.resize(static_cast<std::size_t>(count));
        for (const unsigned int bits : words) {
            const playback::Word word = playback::Unpack(bits);
            Require(word.timeSteps > 0 && std::abs(word.ampSteps) <= 100, "a word lasts and is in the range");
        }
        words.insert(words.begin(), 1);
        Require(playback::PlaysPhases(words, p->Phases(), {Inside::TimeStepOf(*p), p->AmpStepSize()}),
                "the words play the phases");
    }

    // The buffer begins at an odd address.
    void Continue()
    {
        constexpr unsigned char Untouched = 0xA5;
        const ContinuedItemPlay before = play;
        const long due = std::min(play.m_nextMsec, INT64_MAX - 255);
        const long now = flag ? in.ConsumeIntegral<long>() : due + Below(256);
        std::vector<unsigned char> buffer(4 * StimPattern::MaxWords + 1, Untouched);
        const int count = play.ContinueCmds(now, buffer.data() + 1);
        // An array that is current, but empty, has a word 0 all the same.
        const auto end = buffer.begin() + 1 + (count == 0 ? 4 : 4 * std::max(count, 0));
        Require(std::all_of(end, buffer.end(), [](unsigned char byte) { return byte == Untouched; }),
                "nothing is written after the words");
        const int block = count < 0 ? 0 : std::min(before.m_remCycles, 4095);
        Require(count < 0 || (block > 0 && before.ReadyToContinue(now)), "what is left and due is played");
        Require(play.m_remCycles == before.m_remCycles - (p->IsContinuous() ? 0 : block),
                "a block is taken off");
        Require(count < 0 ? play.m_nextMsec == before.m_nextMsec : play.m_nextMsec >= before.m_nextMsec,
                "the due time does not run back");
        unsigned int word0 = 0;
        std::memcpy(&word0, buffer.data() + 1, sizeof word0);
        Require(count <= 0 || before.m_remCycles >= 4095 || word0 == static_cast<unsigned int>(block),
                "word 0 plays what is left");
    }

    void Look()
    {
        refused = true;
        p->MaxAmplitude(static_cast<StimPattern::Sign>(index));
        p->PeriodTrimmed(index);
        p->TrainPeriodMismatch(static_cast<Stim::ReturnSign>(index));
        Require(!(p->NearestAmplitude(0) != 0) && !p->Equals(nullptr), "nothing is 0");
        Require(p->CycleCount() >= 1 && p->IsContinuous() == (p->CycleCount() == INT_MAX),
                "there are cycles");
        Require(p->FirstActivePhase() <= p->LastActivePhase(), "first and last");
        Require(p->ToString().find("DurationMsec=[") != std::string::npos, "the train is printed");
    }

    using Operation = void (*)(Life&);
    static constexpr int SingleEdits = 3, Common = 23, All = 33;
    static const Operation Operations[All];

    FuzzedDataProvider& in;
    std::unique_ptr<StimPattern> p;
    Lilly* lilly = nullptr;  // the pattern, when it is one
    StimPattern* slot = nullptr;
    ContinuedItemPlay play{{3, &slot}, 0, 0};
    // Of the operation: its arguments, and whether it changes nothing, or makes one counted edit.
    int index = 0;
    float x = 0, y = 0;
    bool flag = false, refused = false, edited = false;
};

const Life::Operation Life::Operations[All] = {
    [](Life& l) { l.Taken(l.p->SetPhaseLen(l.index, l.x)); },
    [](Life& l) { l.Taken(l.p->SetPhaseAmp(l.index, l.x)); },
    [](Life& l) {
        l.Taken(l.p->SetPhase(l.index, phase{l.x, l.y}));
    },
    [](Life& l) { l.SetPhases(); },
    [](Life& l) { l.Taken(l.p->InsertPhase(l.index, l.x, l.y) >= 0); },
    [](Life& l) { l.p->RemovePhase(l.index); },
    [](Life& l) { l.Taken(l.p->AppendPhase(l.x, l.y) > 0); },
    [](Life& l) { l.p->SetAmpStepSize(l.x, l.flag); },
    [](Life& l) { l.p->SetAmpMax(l.x); },
    [](Life& l) { l.p->SetAmpsToZero(); },
    [](Life& l) { l.p->SetFrequency(l.x); },
    [](Life& l) { l.p->SetTrainLength(l.x); },
    [](Life& l) { l.p->SetCycleCount(l.in.ConsumeIntegral<int>()); },
    [](Life& l) { l.p->SetLabel(l.in.ConsumeRandomLengthString(40)); },
    [](Life& l) { l.p->Defaults(); },
    [](Life& l) { l.FromString(); },
    [](Life& l) { l.p->SetCmdOverride(l.flag, l.in.ConsumeIntegral<unsigned short>()); },
    [](Life& l) { l.flag ? l.p->Update() : l.p->UpdateWordArray() > 0; },
    [](Life& l) { l.Ask(); },
    [](Life& l) { l.Write(); },
    [](Life& l) { l.Continue(); },
    [](Life& l) {
        l.play = {{3, &l.slot}, l.in.ConsumeIntegral<int>(), l.in.ConsumeIntegral<long>()};
    },
    [](Life& l) { l.Look(); },
    // Operations of Lilly patterns.
    [](Life& l) { l.lilly->SetPeriod(l.x); },
    [](Life& l) {
        static constexpr decltype(&Lilly::SetIPI) Setters[] = {&Lilly::SetOffset, &Lilly::SetIPI,
                                                               &Lilly::SetPhase1Len, &Lilly::SetPhase2Len};
        (l.lilly->*l.in.PickValueInArray(Setters))(l.x, l.flag);
    },
    [](Life& l) { l.lilly->SetPhase1Amp(l.x); },
    [](Life& l) { l.lilly->SetPhase2Amp(l.x); },
    [](Life& l) { l.lilly->SetPolarity(static_cast<Stim::Polarity>(l.index)); },
    [](Life& l) { l.lilly->SetChargeBalanceMode(l.index); },
    [](Life& l) { l.lilly->BalancePhases(l.index, LillyPattern::Phase1, LillyPattern::Len, l.x, l.flag); },
    [](Life& l) { l.lilly->m_autoAdjust = l.index; },
    [](Life& l) { l.Repair(false); },
    [](Life& l) { l.Repair(true); },
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzedDataProvider in(data, size);
    Life(in).Run();
    return 0;
}
