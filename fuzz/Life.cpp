// A byte string as the life of a pattern: constructed with any numbers, then edited, overridden, repaired, updated,
// encoded and played, in any order. After each operation the promises that hold for all operations are checked.

#include <algorithm>
#include <climits>
#include <cmath>
#include <exception>
#include <memory>
#include <stdexcept>
#include <vector>

#include "Bytes.h"
#include "ContinuedItemPlay.h"
#include "LillyPattern.h"
#include "PausePattern.h"
#include "Playback.h"

using fuzz::Require;

namespace {

using Words = std::vector<unsigned int>;
using Phases = std::vector<phase>;

// A host's kind that accepts valid lists, or every list, so that the build has to refuse it.
template <class Base>
class Host : public Base
{
 public:
    template <typename... Arguments>
    explicit Host(bool takesAll, Arguments... arguments) : Base(arguments...), m_takesAll(takesAll)
    {}

    float SetPeriod(float periodMsec) override { return this->SetPhaseLen(0, periodMsec) ? periodMsec : 0; }
    void Defaults() override { this->AppendPhase(100, -10); }
    bool PhaseCountFixed() override { return false; }
    bool AutoAdjustEnabled() override { return false; }
    bool AdjustPhases(Phases& /*current*/, Phases& proposed, int maxCmds) override
    {
        return m_takesAll || this->ListValid(proposed, maxCmds);
    }

 private:
    bool m_takesAll;
};

class Lilly : public LillyPattern
{
 public:
    using LillyPattern::LillyPattern;
    using LillyPattern::m_autoAdjust;
};

// The state of a pattern, bit for bit.
struct State
{
    std::string pattern, array;  // edits may change the first, builds the second
    int change, update, wordCount;
};

struct Inside : StimPattern
{
    static State Of(const StimPattern& p)
    {
        State state{p.Label(), {}, p.ChangeCount(), p.UpdateCount(), p.WordCount()};
        for (const phase& each : p.*(&Inside::m_phases)) Add(state.pattern, each);
        for (const auto member : {&Inside::m_trainLengthUsec, &Inside::m_ampStepSize, &Inside::m_ampMax})
            Add(state.pattern, p.*member);
        Add(state.pattern, state.change);
        Add(state.array, p.*(&Inside::m_wordArray));
        Add(state.array, state.wordCount);
        return state;
    }

    // As after so many edits that the counts will soon start again at 0.
    static void Age(StimPattern& p, int left)
    {
        p.*(&Inside::m_arrayChangeCount) = p.ArrayIsCurrent() ? INT_MAX - left : 0;
        p.*(&Inside::m_changeCount) = p.*(&Inside::m_updateCount) = INT_MAX - left;
    }

    static bool Overridden(const StimPattern& p) { return p.*(&Inside::m_cmdOverride); }

    template <typename T>
    static void Add(std::string& bytes, const T& value)
    {
        bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
    }
};

// Its members are public for the table of operations at the end.
struct Life
{
    explicit Life(fuzz::Bytes bytes) : in(bytes) {}

    void Run()
    {
        if (!Construct()) return;
        for (int i = 0; i < 100 && !in.Empty(); ++i) Step();
    }

    // What an operation reports to have done.
    enum class Did
    {
        Anything,
        Nothing,  // refused, or only read
        OneEdit,  // accepted, and the change count raised once
        Aged,
    };

    bool Construct()
    {
        const int kind = in.Below(4);
        const int budget = in.Bool() ? 4 * in.Below(256) : in.Raw<std::int16_t>();
        const float timeStep = in.Bool() ? in.Float() : 33.333332f;
        const float ampStep = in.Bool() ? in.Float() : 10.0f;
        const float ampMax = in.Bool() ? in.Float() : 1000.0f;
        flag = in.Bool();
        try {
            if (kind == 0)
                p = std::make_unique<Host<StimPattern>>(flag, budget, timeStep, 1.f, 2.f, ampStep, ampMax);
            else if (kind == 1)
                p = std::make_unique<Host<PausePattern>>(flag, budget, timeStep, 1.f, 2.f, ampStep);
            else
                p.reset(lilly = new Lilly(budget, timeStep, 1, 2, ampStep, in.Below(8) - 1, ampMax));
        } catch (const std::exception&) {
        }
        Require((p != nullptr) == (budget >= 1), "1 word and more are a budget");
        slot = p.get();
        return slot != nullptr;
    }

    void Step()
    {
        const State before = Inside::Of(*p);
        index = in.Below(8) - 1;
        x = in.Float();
        y = in.Float();
        flag = in.Bool();
        did = Did::Anything;
        const int operation = in.Below(lilly != nullptr ? All : Common);
        try {
            Operations[operation](*this);
        } catch (const std::out_of_range&) {  // the repair needs a missing phase; a single edit did nothing
            Require(lilly != nullptr, "only the repair of a Lilly pattern throws");
            if (operation < SingleEdits) did = Did::Nothing;
        }
        if (did != Did::Aged) Check(before, Inside::Of(*p));
    }

    void Check(const State& before, const State& after) const
    {
        if (did == Did::Nothing)
            Require(after.pattern == before.pattern && after.array == before.array &&
                        after.update == before.update,
                    "what is refused changes nothing");
        if (did == Did::OneEdit)
            Require(after.change == (before.change == INT_MAX ? 0 : before.change + 1),
                    "an edit counts once");
        if (after.update == before.update) {
            Require(after.array == before.array, "the array changes only when it is rebuilt");
            Require(after.change == before.change || !p->ArrayIsCurrent(), "an edit makes the array stale");
        } else if (after.wordCount > 0) {
            CheckFresh();
        }
        Require(after.change >= 0 && after.update >= 0, "counts are not negative");
        Require(after.wordCount >= 0 && after.wordCount <= std::min(p->MaxCmds() + 1, StimPattern::MaxWords),
                "the words are within the budget");
    }

    // The words of an array just built are those that a copy builds.
    void CheckFresh() const
    {
        Words fresh(StimPattern::MaxWords);
        p->WriteVekCmd(fresh.data());
        const int count = 1 + p->WriteStimCmds(fresh.data() + 1, StimPattern::MaxWords - 1);
        Require(count == p->WordCount() && Holds(fresh, count), "a fresh build gives the same words");
    }

    bool Holds(const Words& words, int count) const
    {
        return std::memcmp(Inside::Of(*p).array.data(), words.data(), 4U * static_cast<std::size_t>(count)) ==
               0;
    }

    void Taken(bool taken) { did = taken ? Did::OneEdit : Did::Nothing; }

    Phases List()
    {
        Phases phases(static_cast<std::size_t>(in.Below(12)));
        for (phase& each : phases) each = {in.Float(), in.Float()};
        return phases;
    }

    void SetPhases()
    {
        const Phases list = List();
        const Phases before = p->Phases();
        const auto same = [](const phase& a, const phase& b) { return a.len == b.len && a.amp == b.amp; };
        Taken(p->PhasesValid(list, p->MaxCmds()) &&
              !std::equal(list.begin(), list.end(), before.begin(), before.end(), same));
        p->SetPhases(list);
        if (did == Did::Nothing || !(p->AmpMax() >= 0)) return;
        Require(!(std::fabs(p->MaxAbsAmp()) > p->AmpMax()), "amplitudes are within the largest");
    }

    void FromString()
    {
        std::vector<std::string> errors, warnings;
        const std::string text = flag ? p->ToString() : in.Text(static_cast<std::size_t>(in.Below(256)));
        const bool read = p->FromString("Head:" + text, y, errors, warnings);
        Require(!read || errors.empty(), "text that was read has no errors");
    }

    // Repairs of the caller's list do not change the pattern.
    void Repair(bool wholeList)
    {
        did = Did::Nothing;
        Phases list = flag ? List() : lilly->Phases();
        Phases current = in.Bool() ? list : lilly->Phases();
        const int budget = in.Below(256);
        try {
            if (!wholeList && lilly->OffsetShiftOk(list, x)) lilly->AdjustPhaseLen(list, index, x, flag);
            if (wholeList && lilly->AdjustPhases(current, list, budget))
                Require(lilly->PhasesValid(list, budget), "a list that was accepted is valid");
        } catch (const std::out_of_range&) {
        }
    }

    // The result is the number of words written; nothing is written after them.
    void Ask()
    {
        constexpr unsigned int Untouched = 0xA5C3960FU;
        Words out(StimPattern::MaxWords + 1, Untouched);
        const int count = p->WordArray(out.data(), 0);
        Require(count == (p->ArrayIsCurrent() ? p->WordCount() : -1), "all words of the array, or none");
        Words words(out.begin(), out.begin() + std::max(count, 0));
        Require(std::count(out.begin() + std::max(count, 0), out.end(), Untouched) ==
                    static_cast<long>(out.size() - words.size()),
                "nothing is written after the words");
        if (count < 1) return;
        Require(Holds(words, count), "the array is copied");
        Require(playback::Refusal(words).empty(), "the words can be played");
    }

    void Write()
    {
        did = Did::Nothing;
        const int room = flag ? in.Below(256) : StimPattern::MaxWords;
        Words out(static_cast<std::size_t>(room));
        const int count = p->WriteStimCmds(out.data(), room);
        Require(count >= -1 && count <= room, "at most as many words as there is room");
        for (int i = 0; i < count; ++i) {
            const playback::Word word = playback::Unpack(out[static_cast<std::size_t>(i)]);
            Require(word.timeSteps > 0, "a word lasts");
            Require(Inside::Overridden(*p) || std::abs(word.ampSteps) <= 100,
                    "a word is in the output range");
        }
    }

    // The buffer can begin at any address.
    void Continue()
    {
        const std::int64_t due = std::min(play.m_nextMsec, INT64_MAX - 255);
        const long now = flag ? in.Raw<long>() : static_cast<long>(due + in.Below(256));
        std::vector<unsigned char> buffer(4 * StimPattern::MaxWords + 1, 0xA5);
        const ContinuedItemPlay before = play;
        const int count = play.ContinueCmds(now, buffer.data() + 1);
        // An array that is current but empty still has a word 0.
        const auto end = buffer.begin() + 1 + (count == 0 ? 4 : 4 * std::max(count, 0));
        Require(std::count(end, buffer.end(), 0xA5) == buffer.end() - end,
                "nothing is written after the words");
        const int block = count < 0 ? 0 : std::min(before.m_remCycles, 4095);
        Require(count < 0 || (block > 0 && before.ReadyToContinue(now)), "what is left and due is played");
        Require(play.m_remCycles == before.m_remCycles - (p->IsContinuous() ? 0 : block),
                "a block is taken off");
        Require(count < 0 ? play.m_nextMsec == before.m_nextMsec : play.m_nextMsec >= before.m_nextMsec,
                "the due time does not run back");
        unsigned int word0 = 0;
        std::memcpy(&word0, buffer.data() + 1, sizeof word0);
        if (count > 0 && before.m_remCycles < 4095)
            Require(word0 == static_cast<unsigned int>(block), "word 0 plays what is left");
    }

    void Look()
    {
        did = Did::Nothing;
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
    static constexpr int SingleEdits = 3;
    static constexpr int Common = 24;
    static constexpr int All = 37;
    static const Operation Operations[All];

    fuzz::Bytes in;
    std::unique_ptr<StimPattern> p;
    Lilly* lilly = nullptr;  // the pattern, if it is a Lilly pattern
    StimPattern* slot = nullptr;
    ContinuedItemPlay play{{3, &slot}, 0, 0};
    // The arguments of the operation, and what it did.
    int index = 0;
    float x = 0, y = 0;
    bool flag = false;
    Did did = Did::Anything;
};

const Life::Operation Life::Operations[All] = {
    [](Life& l) { l.Taken(l.p->SetPhaseLen(l.index, l.x)); },
    [](Life& l) { l.Taken(l.p->SetPhaseAmp(l.index, l.x)); },
    [](Life& l) {
        l.Taken(l.p->SetPhase(l.index, {l.x, l.y}));
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
    [](Life& l) { l.p->SetCycleCount(l.in.Raw<int>()); },
    [](Life& l) { l.p->SetLabel(l.in.Text(static_cast<std::size_t>(l.in.Below(40)))); },
    [](Life& l) { l.p->Defaults(); },
    [](Life& l) { l.FromString(); },
    [](Life& l) { Inside::Age(*l.p, l.in.Below(4)), l.did = Did::Aged; },
    [](Life& l) { l.p->SetCmdOverride(l.flag, l.in.Raw<unsigned short>()); },
    [](Life& l) { l.flag ? l.p->Update() : l.p->UpdateWordArray() > 0; },
    [](Life& l) { l.Ask(); },
    [](Life& l) { l.Write(); },
    [](Life& l) { l.Continue(); },
    [](Life& l) {
        l.play = ContinuedItemPlay({3, &l.slot}, l.in.Raw<int>(), l.in.Raw<long>());
    },
    [](Life& l) { l.Look(); },
    // Operations of a Lilly pattern only.
    [](Life& l) { l.lilly->SetPeriod(l.x); },
    [](Life& l) { l.lilly->SetOffset(l.x, l.flag); },
    [](Life& l) { l.lilly->SetIPI(l.x, l.flag); },
    [](Life& l) { l.lilly->SetPhase1Len(l.x, l.flag); },
    [](Life& l) { l.lilly->SetPhase2Len(l.x, l.flag); },
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
    Life(fuzz::Bytes(data, size)).Run();
    return 0;
}
