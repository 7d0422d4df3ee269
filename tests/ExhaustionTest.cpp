#include <cstdlib>
#include <new>

#include "ContinuedItemPlay.h"
#include "TestPatterns.h"

// The state of a pattern after memory runs out: every operation is run with its first, second, ... allocation failing.
// The operators below replace those of the whole program, the library included.

namespace {
constexpr int NoLimit = -1;
int g_allocationsLeft = NoLimit;
long g_live = 0;
}  // namespace

// When only one of new and delete is inlined, GCC sees malloc meet delete, or new meet free.
[[gnu::noinline]] void* operator new(std::size_t size)
{
    if (g_allocationsLeft == 0) throw std::bad_alloc();
    if (g_allocationsLeft > 0) --g_allocationsLeft;
    void* memory = std::malloc(size);
    if (memory == nullptr) throw std::bad_alloc();
    ++g_live;
    return memory;
}

[[gnu::noinline]] void operator delete(void* memory) noexcept
{
    if (memory == nullptr) return;
    --g_live;
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    operator delete(memory);
}

namespace {

// A pattern that remembers the lists it had before each edit that was offered.
class Subject : public LillyHost
{
 public:
    explicit Subject(int balanceMode = 0) : LillyHost(ThirdStep, 10, 101, balanceMode)
    {
        m_label = "a label too long to be kept within the string";
        m_phases.shrink_to_fit();
    }

    bool AdjustPhases(PhaseList& current, PhaseList& proposed, int maxCmds) override
    {
        if (lists != nullptr) lists->push_back(current);
        return LillyHost::AdjustPhases(current, proposed, maxCmds);
    }

    using StimPattern::m_arrayChangeCount, StimPattern::m_changeCount, StimPattern::m_label;

    std::vector<PhaseList>* lists = nullptr;
};

struct Operation
{
    const char* name;
    std::function<void(Subject&)> run;
};

std::string Everything(Subject& pattern)
{
    std::string all = pattern.ToString() + pattern.Label();
    for (const int value :
         {pattern.m_changeCount, pattern.m_arrayChangeCount, pattern.WordCount(), pattern.UpdateCount()})
        all += " " + std::to_string(value);
    return all;
}

// Runs the operation with allocation n failing, for all n; check sees what a failure left. Returns how many there were.
template <typename Check>
int FailEveryAllocation(const Operation& operation, int balanceMode, Check check)
{
    for (int allowed = 0;; ++allowed) {
        const long live = g_live;
        bool failed = false;
        {
            Subject pattern(balanceMode);
            pattern.Update();
            g_allocationsLeft = allowed;
            try {
                operation.run(pattern);
            } catch (const std::bad_alloc&) {
                failed = true;
            }
            g_allocationsLeft = NoLimit;
            if (failed) check(pattern);
        }
        EXPECT_EQ(g_live, live) << operation.name << " leaks after " << allowed << " allocations";
        if (!failed) return allowed;
    }
}

void Read(LillyPattern& pattern, const char* text)
{
    Texts errors;
    Texts warnings;
    pattern.FromString(text, 10, errors, warnings);
}

const std::string LongText(100, 'x');
const Subject Other(2);

TEST(Exhaustion, SingleEditsAreTakenWholeOrNotAtAll)
{
    const Operation operations[] = {
        {"SetPhaseLen", [](Subject& p) { p.SetPhaseLen(2, 110.7f); }},
        {"SetPhaseAmp", [](Subject& p) { p.SetPhaseAmp(1, -50); }},
        {"SetPhase",
         [](Subject& p) {
             p.SetPhase(3, {50.3f, 60});
         }},
        {"SetPhases", [](Subject& p) { p.SetPhases(Listed("200,-60 100,0 400,30")); }},
        {"InsertPhase", [](Subject& p) { p.InsertPhase(1, 20, 20); }},
        {"AppendPhase", [](Subject& p) { p.AppendPhase(20, 20); }},
        {"SetLabel", [](Subject& p) { p.SetLabel(LongText); }},
        {"assignment", [](Subject& p) { p = Other; }},
        {"copy", [](Subject& p) { Subject(p).Touch(); }},
        {"construction", [](Subject&) { LillyHost made; }},
        {"ToString", [](Subject& p) { p.ToString(); }},
        {"Split", [](Subject& p) { p.Split(LongText + ":" + LongText, ':', false); }},
        {"FromString", [](Subject& p) { Read(p, "H:(99.5,3)(100,-33):D[40]"); }},
        {"FromString of faults", [](Subject& p) { Read(p, "H:(99.5)(1,,):D40"); }},
    };
    Subject untouched;
    untouched.Update();
    const std::string before = Everything(untouched);
    for (const Operation& operation : operations) {
        const auto check = [&](Subject& p) { EXPECT_EQ(Everything(p), before) << operation.name; };
        EXPECT_GT(FailEveryAllocation(operation, 0, check), 0) << operation.name;
    }
}

// Operations of several edits stop between two of them.
TEST(Exhaustion, SettersStopBetweenTwoEdits)
{
    const Operation operations[] = {
        {"SetOffset", [](Subject& p) { p.SetOffset(200, true); }},
        {"SetIPI", [](Subject& p) { p.SetIPI(133, false); }},
        {"SetPhase1Len", [](Subject& p) { p.SetPhase1Len(300, false); }},
        {"SetPhase2Len", [](Subject& p) { p.SetPhase2Len(300, false); }},
        {"SetPhase1Amp", [](Subject& p) { p.SetPhase1Amp(-80); }},
        {"SetPolarity", [](Subject& p) { p.SetPolarity(Stim::PositiveFirst); }},
        {"SetFrequency", [](Subject& p) { p.SetFrequency(4); }},
        {"SetChargeBalanceMode", [](Subject& p) { p.SetChargeBalanceMode(3); }},
        {"FromString", [](Subject& p) { Read(p, "H:(0,0)(99.5,-33)(100,0)(100,33)(9000,0):D[40]:C[4]"); }},
    };
    for (const Operation& operation : operations)
        for (const int mode : {0, 1}) {
            Subject whole(mode);
            std::vector<PhaseList> lists{whole.Phases()};
            whole.lists = &lists;
            operation.run(whole);
            lists.push_back(whole.Phases());
            const auto check = [&](Subject& p) {
                EXPECT_NE(std::find(lists.begin(), lists.end(), p.Phases()), lists.end()) << operation.name;
                EXPECT_NE(Array(p), "refused") << operation.name;
            };
            FailEveryAllocation(operation, mode, check);
        }
}

TEST(Exhaustion, WordsScaleAndTimingAllocateNothing)
{
    const Operation scaleAndTiming = {"scale and timing", [](Subject& p) {
                                          p.SetAmpStepSize(20, true);
                                          p.SetAmpMax(40);
                                          p.SetTrainLength(2000);
                                          p.Touch();
                                          p.RemovePhase(1);
                                          p.Equals(&p);
                                      }};
    const Operation repairAndPlay = {"repair and play", [](Subject& p) {
                                         StimPattern* slot = &p;
                                         unsigned int words[101];
                                         p.SetCycleCount(10000);
                                         p.m_phases[1].len = 100.7f;
                                         auto* bytes = reinterpret_cast<unsigned char*>(words);
                                         ContinuedItemPlay({1, &slot}, 4095, 0).ContinueCmds(3, bytes);
                                         p.WordArray(words, 0);
                                         p.WriteStimCmds(words, 100);
                                         p.SetCmdOverride(true, 7);
                                         p.AdjustPhaseLen(p.m_phases, 2, 10, false);
                                     }};
    for (const Operation& operation : {scaleAndTiming, repairAndPlay})
        EXPECT_EQ(FailEveryAllocation(operation, 0, [](Subject&) {}), 0) << operation.name;
}

}  // namespace
