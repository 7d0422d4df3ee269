#include <cmath>

#include "Playback.h"
#include "StimAtom.h"
#include "TestPatterns.h"

namespace {

TEST(Words, AtomPacksIntoItsBits)
{
    const std::pair<StimAtom, unsigned int> atoms[] = {
        {StimAtom(), 0x0001C000},
        {StimAtom(5, 3, true, 0, true, false), 0x0003A085},
        {StimAtom(-150, 3, true, 0, true, false), 0x0003A064},
        {StimAtom(150, 3, true, 0, true, false), 0x0003A0E4},
        {StimAtom(100, 3, true, 0, true, false), 0x0003A0E4},
        {StimAtom(-99, 3, true, 0, true, false), 0x0003A063},
        {StimAtom(12, 1, false, 20, true, false), 0x0001948C},
        {StimAtom(0, 65535, false, 0, false, false), 0xFFFF0000},
        {StimAtom(0, 65536, false, 0, false, true), 0x00004000},
        {StimAtom(SmallestInt, 0, false, 0, false, false), 0x00000064},
        {StimAtom(LargestInt, 0, false, 31, false, false), 0x00001FE4},
        {StimAtom(1, 1, false, 32, false, false), 0x00012081},
        {StimAtom(-1, 0x10001, false, 0x1FF, false, false), 0x0001FF01},
    };
    for (const auto& [atom, packed] : atoms) {
        unsigned int word = Untouched;
        EXPECT_TRUE(atom.WriteCmd(&word));
        EXPECT_EQ(word, packed);
        EXPECT_FALSE(atom.WriteCmd(nullptr));
    }
    StimAtom atom(5, 3, true, 7, false, false);
    unsigned int word = 0;
    atom.Reset();
    atom.WriteCmd(&word);
    EXPECT_EQ(word, 0x0001C000U);
}

struct Row
{
    float timeStep, ampStep;
    PhaseList phases;
    std::optional<Words> words;
};

const PhaseList Pulse = {{100, 0}, {210, -300}, {50, 0}, {210, 300}, {1000, 0}};
const Words PulseWords = {0x00030000, 0x0006A01E, 0x00018A1E, 0x0001BA9E,
                          0x0006A09E, 0x0001839E, 0x001D0000, 0x00010300};
const std::optional<Words> Refused = std::nullopt;

TEST(Words, PhasesBecomeSteps)
{
    const Row rows[] = {
        {ThirdStep, 10, Pulse, PulseWords},
        {20, 10, {}, Words{}},
        {20, 10, {{0, 300}, {0.5f, 300}}, Words{}},
        {ThirdStep, 10, {{200, -300}, {210, 300}}, Words{0x0006A01E, 0x0006A09E, 0x00018A9E}},
        {ThirdStep, 10, {{210, -300}, {210, 300}}, Refused},
        {ThirdStep, 10, {{200, 50}}, Words{0x0006A085}},
        {ThirdStep, 10, {{99.67f, 50}}, Words{0x0003A085}},
        {ThirdStep, 10, {{99, 50}}, Words{0x0002A085, 0x0001A085}},
        {ThirdStep, 10, {{10, 50}}, Words{0x00018A85}},
        {ThirdStep, 10, {{200, -300}, {5, 300}}, Words{0x0006A01E, 0x0001859E}},
        {ThirdStep, 10, {{2500000, 100}}, Words{0xFFFFA08A, 0x24F9A08A}},
        {20, 10, {{65535 * 20, 100}}, Words{0xFFFFA08A}},
        {20, 10, {{65536 * 20, 100}}, Words{0xFFFFA08A, 0x0001A08A}},
        {20, 10, {{131071 * 20, 0}, {20, 100}}, Words{0xFFFF0000, 0xFFFF0000, 0x00010000, 0x0001A08A}},
        // A phase too short to end the step that it shares passes validation only as a pause.
        {ThirdStep, 10, {{210, -300}, {20, 0}, {100, 0}}, Refused},
        {ThirdStep, 10, {{210, -300}, {22.5f, 0}, {100, 0}}, Refused},
        {ThirdStep, 10, {{210, -300}, {23, 0}, {100, 0}}, Words{0x0006A01E, 0x00018A1E, 0x00030000}},
        // 0.5000019 us are carried where validation drops 0.5: no junction, the second phase takes them in.
        {20, 10, {{40.5f, 300}, {59.5f, 300}}, Words{0x0002A09E, 0x0003A09E}},
        {20, 10, {{40.5f, 5}, {59.5f, 300}}, Words{0x0002A000, 0x0003A09E}},
        {20, 10, {{40.5f, 0}, {59.5f, 300}}, Words{0x00020000, 0x0001A09E, 0x0002A09E}},
        {20, 10, {{40.5f, -5}, {79.75f, 0}}, Words{0x0002A000, 0x0001A000, 0x00030000}},
        // The split point is the carried time, whole microseconds; the pause or the current stands behind it.
        {20, 10, {{30, 0}, {30, 50}}, Words{0x00010000, 0x0001AA85, 0x0001A085}},
        {20, 10, {{30, 50}, {30, 0}}, Words{0x0001A085, 0x00018A85, 0x00010000}},
        {20,
         10,
         {{30, 50}, {30, 0}, {27.5f, 50}},
         Words{0x0001A085, 0x00018A85, 0x00018000, 0x0001A085, 0x00018785}},
        {20, 10, {{30, 50}, {10.25f, 0}, {20, 50}}, Words{0x0001A085, 0x00018A85, 0x0001A085}},
        {20, 10, {{30, 50}, {11, 0}, {19, 50}}, Words{0x0001A085, 0x00018A85, 0x0001A185}},
        {20, 10, {{5, 0}, {15.25f, 50}, {20, -50}}, Words{0x0001A585, 0x0001A005}},
        // Half a microsecond short of a shared step is near enough; the floor of the step is the limit.
        {10.5f, 1, {{7, 0}, {3, 5}}, Words{0x0001A785}},
        {10.5f, 1, {{7, 0}, {3.5f, 5}}, Words{0x0001A785}},
        {10.75f, 1, {{7, 5}, {3, 0}}, Words{0x00018785}},
        {10.75f, 1, {{7, 5}, {2.5f, 0}}, Refused},
        // In-pulse is clear only in the pauses of the first and the last phase, a junction apart.
        {20,
         10,
         {{20, 0}, {20, 0}, {20, 50}, {20, 0}, {20, 0}},
         Words{0x00010000, 0x00018000, 0x0001A085, 0x00018000, 0x00010000}},
        {20, 10, {{20, 50}, {30, 0}}, Words{0x0001A085, 0x00010000, 0x00010A00}},
        {20, 10, {{20, 50}, {30, 50}}, Words{0x0001A085, 0x0001A085, 0x00018A85}},
        // Amplitudes are cut to whole steps, at most 100; without any current only durations are left.
        {20,
         10,
         {{20, 59.9f}, {20, -59.9f}, {20, 2000}, {20, -2000}},
         Words{0x0001A085, 0x0001A005, 0x0001A0E4, 0x0001A064}},
        {20, 10, {{20, 9}, {20, -9}}, Words{0x0001A000, 0x0001A000}},
        {20, 10, {{30, 9}, {20, 0}}, Words{0x0001A000, 0x0001AA00, 0x00010A00}},
        {20, 0, {{20, 50}}, Words{0x00010000}},
        {20, 10, {{100, 0}, {210, 0}}, Words{0x00050000, 0x000A0000, 0x00010000}},
        {ThirdStep, 10, {{100, 0}, {210, 0}}, Words{0x00030000, 0x00060000, 0x00010000}},
        {20, 10, {{20, NaN}, {20, 0}}, Words{0x00010000, 0x00010000}},
        {20, 10, {{20, NaN}, {20, 10}}, Words{0x0001A000, 0x0001A081}},
        {20, -10, {{20, 50}}, Refused},
        {0, 10, {{20, 50}}, Refused},
        // From 32 us on the split point shows in the flag above it.
        {ThirdStep, 10, {{32.5f, 50}, {100, 0}}, Words{0x0001A085, 0x00020000, 0x00012000}},
    };
    for (const Row& row : rows)
        EXPECT_EQ(Written(HostPattern(row.phases, row.timeStep, row.ampStep)), row.words)
            << testing::PrintToString(row.phases) << " at " << row.timeStep;
}

TEST(Words, WriterStopsAtItsLimit)
{
    HostPattern p(Pulse, ThirdStep, 10);
    EXPECT_EQ(p.WriteStimCmds(nullptr, 100), -1);
    for (int limit = -1; limit < 8; ++limit) EXPECT_EQ(Written(p, limit), Refused) << limit;
    EXPECT_EQ(Written(p, 8), PulseWords);
    EXPECT_EQ(Written(HostPattern({}, 20), 0), Words{});
    EXPECT_EQ(Written(HostPattern({{3000000, 5}}, 20), 2), Refused);
    EXPECT_EQ(Written(HostPattern(Pulse, ThirdStep, 10, 11)), PulseWords);
    EXPECT_EQ(Written(HostPattern(Pulse, ThirdStep, 10, 10)), Refused) << "counts 10 words of 9";
}

TEST(Words, OverrideReplacesTheLowHalfOfEveryStimulationWord)
{
    RecordingPattern p(Pulse, ThirdStep, 10);
    p.SetCycleCount(10);
    const auto plain = Array(p);
    p.SetCmdOverride(false, 0);
    EXPECT_EQ(p.UpdateCount(), 1);
    p.SetCmdOverride(true, 0x1234);
    EXPECT_EQ(p.UpdateCount(), 2);
    EXPECT_TRUE(p.ArrayIsCurrent());
    const Words overridden = {10,         0x00031234, 0x00061234, 0x00011234, 0x00011234,
                              0x00061234, 0x00011234, 0x001D1234, 0x00011234};
    EXPECT_EQ(Array(p), overridden);
    p.SetCmdOverride(true, 0x1234);
    EXPECT_EQ(p.UpdateCount(), 2);
    p.SetCmdOverride(true, 0xFFFF);
    EXPECT_EQ((*Array(p))[8], 0x0001FFFFU);
    p.SetAmpsToZero();
    p.SetCmdOverride(true, 0x1234);
    EXPECT_EQ(Array(p), overridden) << "also when no phase carries current";
    p.m_phases = Pulse;
    p.SetCmdOverride(false, 0x1234);
    EXPECT_EQ(p.UpdateCount(), 5);
    EXPECT_EQ(Array(p), plain);
    EXPECT_EQ(p.UpdateCount(), 5);

    p.m_phases = {{-1, 0}};
    p.SetCmdOverride(true, 1);
    EXPECT_EQ(p.UpdateCount(), 6);
    EXPECT_EQ(p.WordCount(), 0) << "a build that fails leaves no words";
}

TEST(Words, ArrayBeginsWithTheCycles)
{
    const std::pair<int, unsigned int> cycles[] = {
        {1, 1}, {10, 10}, {4094, 4094}, {4095, 4095}, {4096, 4095}, {5000, 4095}, {LargestInt, 4095}};
    for (const auto& [count, word0] : cycles) {
        HostPattern p({{100, 10}}, 20);
        p.SetCycleCount(count);
        EXPECT_EQ(Array(p), (Words{word0, 0x0005A08A}));
        unsigned int word = Untouched;
        EXPECT_TRUE(p.WriteVekCmd(&word));
        EXPECT_EQ(word, word0);
        EXPECT_FALSE(p.WriteVekCmd(nullptr));
    }
    HostPattern none;
    EXPECT_EQ(Array(none), (Words{4095}));
}

TEST(Words, DebugWordsStandBehindWordZero)
{
    Words words(6, Untouched);
    EXPECT_EQ(HostPattern().WriteDebugCmds(words.data()), 5);
    EXPECT_EQ(words, (Words{Untouched, 0x0003E02F, 0x0003E000, 0x0003E0AF, 0x0FFFE000, Untouched}));
    EXPECT_EQ(HostPattern().WriteDebugCmds(nullptr), 0);
}

TEST(Words, ArrayIsBuiltOnlyWhenTheChangeCountMoved)
{
    RecordingPattern p({{100, 10}}, 20);
    EXPECT_EQ(p.WordArray(nullptr, 1024), -1);
    EXPECT_EQ(p.UpdateCount(), 0);
    const Words words = {1, 0x0005A08A};
    for (int i = 0; i < 2; ++i) EXPECT_EQ(Array(p), words);
    EXPECT_EQ(p.UpdateCount(), 1);
    EXPECT_EQ(p.WordCount(), 2);

    p.SetAmpsToZero();
    EXPECT_EQ(Array(p), words) << "the current flows on until the count moves";
    p.Touch();
    EXPECT_FALSE(p.ArrayIsCurrent());
    EXPECT_EQ(Array(p), (Words{1, 0x00050000}));
    EXPECT_EQ(p.UpdateCount(), 2);
    EXPECT_EQ(p.UpdateWordArray(), 2);
    EXPECT_EQ(p.UpdateCount(), 3);
    EXPECT_TRUE(p.offers.empty());
}

TEST(Words, UpdateValidatesOnEveryCallAndLetsTheListBeRepairedInPlace)
{
    const PhaseList invalid = {{15, 5}, {15, -5}};
    RecordingPattern p(invalid, 10, 1, 20);
    p.accept = false;
    EXPECT_EQ(Array(p), Refused);
    EXPECT_EQ(p.UpdateCount(), 0) << "nothing is built when the repair refuses";
    p.rework = {{15, 6}, {15, -6}};
    EXPECT_FALSE(p.Update());
    EXPECT_EQ(p.Phases(), p.rework) << "what was reworked stays, although it was refused";
    p.accept = true;
    EXPECT_FALSE(p.Update());
    EXPECT_EQ(p.UpdateCount(), 1) << "the writer refuses what the repair accepted";
    EXPECT_EQ(p.WordCount(), 0);
    p.rework = {{20, 5}};
    EXPECT_EQ(Array(p), (Words{1, 0x0002A085}));
    EXPECT_EQ(p.ChangeCount(), 0);
    EXPECT_EQ(p.offers.size(), 4U);
    for (const auto& offer : p.offers) {
        EXPECT_TRUE(offer.own && offer.sameLists);
        EXPECT_EQ(offer.maxCmds, 19);
    }

    p.m_phases = invalid;
    p.accept = false;
    p.rework.clear();
    EXPECT_TRUE(p.Update()) << "the array is still the one of this change count";
    EXPECT_EQ(p.offers.size(), 5U);
    p.Touch();
    EXPECT_FALSE(p.Update());
    EXPECT_EQ(p.UpdateWordArray(), 0);
    EXPECT_EQ(p.WordCount(), 0);
}

TEST(Words, BudgetHoldsWordZeroToo)
{
    HostPattern one({{0.3f, 5}}, 1, 1, 1);
    EXPECT_EQ(Array(one), (Words{1}));
    one.AppendPhase(1, 5);
    EXPECT_EQ(Array(one), Refused);
    PhaseList many;
    for (int i = 0; i < 1024; ++i) many.push_back({20, 5});
    HostPattern full(many, 20, 1, 1024);
    EXPECT_EQ(Array(full), Refused);
    full.RemovePhase(0);
    EXPECT_EQ(Array(full)->size(), 1024U);
    // Two words are counted, and the sink has room for no third one.
    HostPattern chunks({{3000000, 5}}, 20, 1, 3);
    EXPECT_TRUE(chunks.PhasesValid(chunks.Phases(), 2));
    EXPECT_EQ(Array(chunks), Refused);
}

// What is written plays back as the phases: the current of every phase but for drift microseconds that each
// phase may move the borders behind it, and one that the split point is cut by.
void ExpectPlaysBack(const HostPattern& p, const Words& words, double drift)
{
    SCOPED_TRACE(testing::PrintToString(p.m_phases) + " at " + std::to_string(p.m_timeStepUsec));
    Words array = {1};
    array.insert(array.end(), words.begin(), words.end());
    ASSERT_EQ(playback::Refusal(array), "");
    const playback::Scale scale{p.m_timeStepUsec, p.m_ampStepSize};
    const auto segments = playback::Segments(array, scale);
    double start = 0, moved = 1.01;
    for (const phase& phase : p.m_phases) {
        const double end = start + phase.len;
        const double current = std::trunc(phase.amp / p.m_ampStepSize) * p.m_ampStepSize;
        const double from = start + moved;
        const double until = end - moved - drift;
        for (const double at : {from, (from + until) / 2, until}) {
            if (from > until) continue;
            ASSERT_NEAR(playback::CurrentAt(segments, at), current, 1e-3) << at;
        }
        start = end;
        moved += drift;
    }
    const double period = playback::PeriodUsec(array, scale);
    ASSERT_GT(period, start - moved);
    ASSERT_LT(period, start + moved + p.m_timeStepUsec);
}

TEST(Words, WordsPlayBackAsThePhases)
{
    Random random(3);
    int whole = 0, fractional = 0;
    for (int i = 0; i < 6000; ++i) {
        const bool wholeUsec = i % 2 == 0;
        PhaseList phases;
        for (int n = random.Between(1, 8); n > 0; --n) {
            const float len = static_cast<float>(random.Below(random.Below(4) == 0 ? 20 : 300));
            const bool active = n % 2 == 0 || random.Below(6) == 0;
            phases.push_back({wholeUsec ? len : len + random.Fraction(),
                              active ? static_cast<float>(random.Between(-1000, 1000)) : 0.0f});
        }
        const float timeStep =
            wholeUsec ? 20.0f : static_cast<float>(random.Between(5, 30)) + random.Fraction();
        const HostPattern p(phases, timeStep, 10);
        const auto words = Written(p);
        if (!words) continue;
        ++(wholeUsec ? whole : fractional);
        // Whole microseconds on a whole step come near no threshold, so that no border drifts.
        ExpectPlaysBack(p, *words, wholeUsec ? 0 : std::max(1.0f, StimPattern::IgnoreFrac * timeStep));
        if (HasFatalFailure()) return;
    }
    EXPECT_GT(whole, 500);
    EXPECT_GT(fractional, 500);
}

}  // namespace
