#include "StimAtom.h"
#include "TestPatterns.h"

namespace {

TEST(Words, AtomPacksIntoItsBits)
{
    const std::pair<StimAtom, unsigned int> atoms[] = {
        {StimAtom(), 0x0001C000},
        {StimAtom(5, 3, true, 0, true, false), 0x0003A085},
        {StimAtom(-150, 3, true, 0, true, false), 0x0003A064},
        {StimAtom(100, 3, true, 0, true, false), 0x0003A0E4},
        {StimAtom(-99, 3, true, 0, true, false), 0x0003A063},
        {StimAtom(12, 1, false, 20, true, false), 0x0001948C},
        {StimAtom(0, 65536, false, 0, false, true), 0x00004000},
        {StimAtom(SmallestInt, 0, false, 0, false, false), 0x00000064},
        {StimAtom(LargestInt, 0, false, 31, false, false), 0x00001FE4},
        {StimAtom(1, 1, false, 32, false, false), 0x00012081},
        {StimAtom(-1, 0x10001, false, 0x1FF, false, false), 0x0001FF01}};
    for (const auto& [atom, packed] : atoms) {
        unsigned int word = 0;
        EXPECT_TRUE(atom.WriteCmd(&word));
        EXPECT_EQ(word, packed);
        EXPECT_FALSE(atom.WriteCmd(nullptr));
        StimAtom reset = atom;
        reset.Reset();
        reset.WriteCmd(&word);
        EXPECT_EQ(word, 0x0001C000U);
    }
}

const PhaseList Pulse = Listed("100,0 210,-300 50,0 210,300 1000,0");
const char* const PulseWords = "00030000 0006A01E 00018A1E 0001BA9E 0006A09E 0001839E 001D0000 00010300";

void ExpectWords(float timeStep, float ampStep, const std::string& table)
{
    for (const auto& [phases, words] : Cases(table))
        EXPECT_EQ(Hex(Written(HostPattern(Listed(phases), timeStep, ampStep))), words)
            << phases << " at " << timeStep;
}

TEST(Words, PhasesBecomeSteps)
{
    EXPECT_EQ(Hex(Written(HostPattern(Pulse, ThirdStep, 10))), PulseWords);
    ExpectWords(ThirdStep, 10,
                "200,50 = 0006A085 | 99.67,50 = 0003A085 | 99,50 = 0002A085 0001A085 | 10,50 = 00018A85 | "
                "200,-300 210,300 = 0006A01E 0006A09E 00018A9E | 210,-300 210,300 = refused | "
                "200,-300 5,300 = 0006A01E 0001859E | 2500000,100 = FFFFA08A 24F9A08A");
    ExpectWords(20, 10,
                " =  | 0,300 0.5,300 =  | 1310700,100 = FFFFA08A | 1310720,100 = FFFFA08A 0001A08A | "
                "2621420,0 20,100 = FFFF0000 FFFF0000 00010000 0001A08A");
    // A phase too short to end the step that it shares passes validation only as a pause.
    ExpectWords(ThirdStep, 10,
                "210,-300 20,0 100,0 = refused | 210,-300 22.5,0 100,0 = refused | "
                "210,-300 23,0 100,0 = 0006A01E 00018A1E 00030000");
    ExpectWords(10.75f, 1, "7,5 2.5,0 = refused | 7,5 3,0 = 00018785");
    ExpectWords(10.5f, 1, "7,0 3,5 = 0001A785");
    ExpectWords(1, 1, "0.75,5 100,0 = 00018085 00630000 00010000");
    // Where validation finds half a microsecond missing, the writer finds a little more: no junction either.
    ExpectWords(2.75f, 1, "11.625,0 1.62500036,5 = 00040000 00018285");
    // 0.5000019 us are carried where validation drops 0.5: no junction, the second phase takes them in.
    ExpectWords(
        20, 10,
        "40.5,300 59.5,300 = 0002A09E 0003A09E | 40.5,5 59.5,300 = 0002A000 0003A09E | "
        "40.5,0 59.5,300 = 00020000 0001A09E 0002A09E | 40.5,-5 79.75,0 = 0002A000 0001A000 00030000");
    // A phase of no length does not take the carried time over.
    ExpectWords(0.9375f, 1, "8,5 0,9 3,0 = 0008A085 00018085 00020000 00010000");
    // The split point is the carried time, whole microseconds; current stands before or behind it.
    ExpectWords(
        20, 10,
        "30,0 30,50 = 00010000 0001AA85 0001A085 | 30,50 30,0 = 0001A085 00018A85 00010000 | "
        "30,50 30,0 27.5,50 = 0001A085 00018A85 00018000 0001A085 00018785 | "
        "30,50 10.25,0 20,50 = 0001A085 00018A85 0001A085 | 5,0 15.25,50 20,-50 = 0001A585 0001A005 | "
        "30,50 11,0 19,50 = 0001A085 00018A85 0001A185");
    // From 32 us on it shows in the flag above it.
    ExpectWords(ThirdStep, 10, "32.5,50 100,0 = 0001A085 00020000 00012000");
    // In-pulse is clear only in the pauses of the first and the last phase, a junction apart.
    ExpectWords(20, 10,
                "20,0 20,0 20,50 20,0 20,0 = 00010000 00018000 0001A085 00018000 00010000 | "
                "20,50 30,0 = 0001A085 00010000 00010A00 | 20,50 30,50 = 0001A085 0001A085 00018A85");
    // Amplitudes are cut to whole steps, at most 100; without any current only durations are left.
    ExpectWords(20, 10,
                "20,59.9 20,-59.9 20,2000 20,-2000 = 0001A085 0001A005 0001A0E4 0001A064 | "
                "30,9 20,0 = 0001A000 0001AA00 00010A00 | 30,0 20,0 = 00010000 00010000 00010000 | "
                "20,nan 20,0 = 00010000 00010000 | 20,nan 20,10 = 0001A000 0001A081");
    ExpectWords(20, 0, "20,50 = 00010000");
    ExpectWords(20, -10, "20,50 = refused");
    ExpectWords(0, 10, "20,50 = refused");
}

TEST(Words, BudgetAndBufferLimitTheWords)
{
    const HostPattern p(Pulse, ThirdStep, 10);
    EXPECT_EQ(p.WriteStimCmds(nullptr, 100), -1);
    for (int limit = -1; limit < 8; ++limit) EXPECT_EQ(Hex(Written(p, limit)), "refused") << limit;
    EXPECT_EQ(Hex(Written(p, 8)), PulseWords);
    EXPECT_EQ(Hex(Written(HostPattern({}, 20), 0)), "");
    const HostPattern chunks(Listed("3000000,5"), 20);
    for (int limit = 0; limit < 3; ++limit) EXPECT_EQ(Hex(Written(chunks, limit)), "refused") << limit;
    EXPECT_EQ(Hex(Written(HostPattern(Pulse, ThirdStep, 10, 11))), PulseWords);
    EXPECT_EQ(Hex(Written(HostPattern(Pulse, ThirdStep, 10, 10))), "refused") << "counts 10 words of 9";

    HostPattern one(Listed("0.3,5"), 1, 1, 1);
    EXPECT_EQ(Array(one), "00000001");
    one.AppendPhase(1, 5);
    EXPECT_EQ(Array(one), "refused");
    HostPattern full(PhaseList(1024, {20, 5}), 20, 1, 1024);
    EXPECT_EQ(Array(full), "refused");
    full.RemovePhase(0);
    EXPECT_EQ(Array(full).size(), 1024U * 9 - 1);
    // Two words are counted, and there is no room for the third.
    HostPattern small(Listed("3000000,5"), 20, 1, 3);
    EXPECT_TRUE(small.PhasesValid(small.Phases(), 2));
    EXPECT_EQ(Array(small), "refused");
}

TEST(Words, OverrideReplacesTheLowHalfOfEveryStimulationWord)
{
    RecordingPattern p(Pulse, ThirdStep, 10);
    p.SetCycleCount(10);
    const std::string plain = Array(p);
    const char* const overridden =
        "0000000A 00031234 00061234 00011234 00011234 00061234 00011234 001D1234 00011234";
    p.SetCmdOverride(false, 0);
    EXPECT_EQ(p.UpdateCount(), 1) << "nothing new";
    p.SetCmdOverride(true, 0x1234);
    EXPECT_EQ(p.UpdateCount(), 2) << "rebuilt at once";
    EXPECT_EQ(Array(p), overridden);
    p.SetCmdOverride(true, 0x1234);
    EXPECT_EQ(p.UpdateCount(), 2);
    p.SetCmdOverride(true, 0xFFFF);
    EXPECT_EQ(Array(p).substr(9, 8), "0003FFFF");
    p.SetAmpsToZero();
    p.SetCmdOverride(true, 0x1234);
    EXPECT_EQ(Array(p), overridden) << "also when no phase carries current";
    p.m_phases = Pulse;
    p.SetCmdOverride(false, 0x1234);
    EXPECT_EQ(Array(p), plain);
    EXPECT_EQ(p.UpdateCount(), 5);
    p.m_phases = Listed("-1,0");
    p.SetCmdOverride(true, 1);
    EXPECT_EQ(p.WordCount(), 0) << "a build that fails leaves no words";
}

TEST(Words, ArrayBeginsWithTheCycles)
{
    const std::pair<int, unsigned int> cycles[] = {
        {1, 1}, {10, 10}, {4094, 4094}, {4095, 4095}, {4096, 4095}, {5000, 4095}, {LargestInt, 4095}};
    for (const auto& [count, word0] : cycles) {
        HostPattern p(Listed("100,10"), 20);
        p.SetCycleCount(count);
        EXPECT_EQ(Array(p), Hex(Words{word0, 0x0005A08A}));
        unsigned int word = ~0U;
        EXPECT_TRUE(p.WriteVekCmd(&word));
        EXPECT_EQ(word, word0);
        EXPECT_FALSE(p.WriteVekCmd(nullptr));
    }
    HostPattern none;
    EXPECT_EQ(Array(none), "00000FFF");
    EXPECT_EQ(
        Hex(Collected(5, [&](unsigned int* words) { return words[0] = 7, none.WriteDebugCmds(words); })),
        "00000007 0003E02F 0003E000 0003E0AF 0FFFE000");
    EXPECT_EQ(none.WriteDebugCmds(nullptr), 0);
}

TEST(Words, ArrayIsBuiltOnlyWhenTheChangeCountMoved)
{
    RecordingPattern p(Listed("100,10"), 20);
    EXPECT_EQ(p.WordArray(nullptr, 1024), -1);
    EXPECT_EQ(p.UpdateCount(), 0);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(Array(p), "00000001 0005A08A");
    EXPECT_EQ((std::vector{p.UpdateCount(), p.WordCount()}), (std::vector{1, 2}));
    p.SetAmpsToZero();
    EXPECT_EQ(Array(p), "00000001 0005A08A") << "the current flows on until the count moves";
    p.Touch();
    EXPECT_FALSE(p.ArrayIsCurrent());
    EXPECT_EQ(Array(p), "00000001 00050000");
    EXPECT_EQ(p.UpdateWordArray(), 2);
    EXPECT_EQ(p.UpdateCount(), 3);
    EXPECT_TRUE(p.offers.empty());
}

TEST(Words, UpdateValidatesOnEveryCallAndLetsTheListBeRepairedInPlace)
{
    RecordingPattern p(Listed("15,5 15,-5"), 10, 1, 20);
    p.accept = false;
    EXPECT_EQ(Array(p), "refused");
    EXPECT_EQ(p.UpdateCount(), 0) << "nothing is built when the repair refuses";
    p.rework = Listed("15,6 15,-6");
    EXPECT_FALSE(p.Update());
    EXPECT_EQ(p.Phases(), p.rework) << "what was reworked stays, although it was refused";
    p.accept = true;
    EXPECT_FALSE(p.Update());
    EXPECT_EQ(p.UpdateCount(), 1) << "the writer refuses what the repair accepted";
    EXPECT_EQ(p.WordCount(), 0);
    p.rework = Listed("20,5");
    EXPECT_EQ(Array(p), "00000001 0002A085");
    EXPECT_EQ(p.ChangeCount(), 0);

    p.m_phases = Listed("15,5 15,-5");
    p.accept = false;
    p.rework.clear();
    EXPECT_TRUE(p.Update()) << "the array is still the one of this change count";
    p.Touch();
    EXPECT_FALSE(p.Update());
    EXPECT_EQ(p.UpdateWordArray(), 0);
    EXPECT_EQ(p.WordCount(), 0);
    EXPECT_EQ(p.offers.size(), 6U);
    for (const auto& offer : p.offers) EXPECT_TRUE(offer.own && offer.sameLists && offer.maxCmds == 19);
}

}  // namespace
