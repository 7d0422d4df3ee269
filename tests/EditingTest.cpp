#include <cmath>

#include "TestPatterns.h"

namespace {

const PhaseList Three = {{100, 10}, {50, 0}, {100, -10}};

TEST(Editing, OnlyWhatIsMeantToRaisesTheChangeCount)
{
    struct Row
    {
        const char* edit;
        std::function<void(RecordingPattern&)> run;
        int raises;
    };
    const Row rows[] = {
        {"Touch", [](RecordingPattern& p) { p.Touch(); }, 1},
        {"SetLabel, another", [](RecordingPattern& p) { p.SetLabel("b"); }, 1},
        {"SetLabel, the same", [](RecordingPattern& p) { p.SetLabel("a"); }, 0},
        {"SetLabel, longer by a NUL", [](RecordingPattern& p) { p.SetLabel(std::string("a\0", 2)); }, 1},
        {"SetTrainLength", [](RecordingPattern& p) { p.SetTrainLength(1); }, 1},
        {"SetTrainLength, the same", [](RecordingPattern& p) { p.SetTrainLength(0.5f); }, 0},
        {"SetTrainLength, raised to the same", [](RecordingPattern& p) { p.SetTrainLength(0); }, 1},
        {"SetCycleCount twice", [](RecordingPattern& p) { p.SetCycleCount(4), p.SetCycleCount(4); }, 1},
        {"SetCycleCount, the same", [](RecordingPattern& p) { p.SetCycleCount(2); }, 0},
        {"NaN is never the same", [](RecordingPattern& p) { p.SetTrainLength(NaN), p.SetTrainLength(NaN); },
         2},
        {"SetPhaseLen", [](RecordingPattern& p) { p.SetPhaseLen(0, 10); }, 1},
        {"SetPhaseLen, the same", [](RecordingPattern& p) { p.SetPhaseLen(0, 100); }, 1},
        {"SetPhaseAmp", [](RecordingPattern& p) { p.SetPhaseAmp(0, 10); }, 1},
        {"SetPhase",
         [](RecordingPattern& p) {
             p.SetPhase(0, {10, 10});
         },
         1},
        {"SetPhase, outside",
         [](RecordingPattern& p) {
             p.SetPhase(3, {10, 10});
         },
         0},
        {"SetPhase, refused",
         [](RecordingPattern& p) {
             p.accept = false, p.SetPhase(0, {10, 10});
         },
         0},
        {"SetPhases",
         [](RecordingPattern& p) {
             p.SetPhases({{10, 10}});
         },
         1},
        {"SetPhases, the same", [](RecordingPattern& p) { p.SetPhases(Three); }, 0},
        {"SetPhases, refused",
         [](RecordingPattern& p) {
             p.SetPhases({{-1, 10}});
         },
         0},
        {"InsertPhase", [](RecordingPattern& p) { p.InsertPhase(2, 1, 1); }, 1},
        {"InsertPhase, nothing inserted", [](RecordingPattern& p) { p.InsertPhase(3, 1, 1); }, 1},
        {"RemovePhase", [](RecordingPattern& p) { p.RemovePhase(2); }, 1},
        {"RemovePhase, none there", [](RecordingPattern& p) { p.RemovePhase(3); }, 0},
        {"ClearPhases twice", [](RecordingPattern& p) { p.ClearPhases(), p.ClearPhases(); }, 1},
        {"AppendPhase", [](RecordingPattern& p) { p.AppendPhase(1, 1); }, 1},
        {"SetAmpStepSize", [](RecordingPattern& p) { p.SetAmpStepSize(2, true); }, 0},
        {"SetAmpMax", [](RecordingPattern& p) { p.SetAmpMax(5); }, 0},
        {"SetAmpsToZero", [](RecordingPattern& p) { p.SetAmpsToZero(); }, 0},
        {"SetCmdOverride", [](RecordingPattern& p) { p.SetCmdOverride(true, 5); }, 0},
        {"Update with a repair",
         [](RecordingPattern& p) {
             p.m_phases = {{-1, 0}};
             p.rework = {{7, 7}};
             EXPECT_TRUE(p.Update());
             EXPECT_EQ(p.m_phases, p.rework);
         },
         0},
        {"SetFrequency", [](RecordingPattern& p) { p.SetFrequency(5); }, 0},
    };
    for (const Row& row : rows) {
        RecordingPattern p(Three);
        p.m_label = "a";
        p.m_trainLengthUsec = 500;
        p.m_changeCount = 10;
        row.run(p);
        EXPECT_EQ(p.ChangeCount(), 10 + row.raises) << row.edit;
    }
}

TEST(Editing, SinglePhaseEditsAreOfferedToTheRepair)
{
    struct Row
    {
        std::function<bool(RecordingPattern&)> edit;
        phase offered;
    };
    const Row rows[] = {
        {[](RecordingPattern& p) { return p.SetPhaseLen(1, 7.5f); }, {7.5f, 0}},
        {[](RecordingPattern& p) { return p.SetPhaseLen(1, 0); }, {0, 0}},
        {[](RecordingPattern& p) { return p.SetPhaseAmp(1, 3.3f); }, {50, 3.3f}},
        {[](RecordingPattern& p) { return p.SetPhaseAmp(1, 1500); }, {50, 1000}},
        {[](RecordingPattern& p) { return p.SetPhaseAmp(1, -2500); }, {50, -1000}},
        {[](RecordingPattern& p) {
             return p.SetPhase(1, {-8, 1001});
         },
         {-8, 1000}},
    };
    const PhaseList reworked = {{1, 2}, {3, 4}};
    for (const Row& row : rows) {
        RecordingPattern p(Three, 1, 1, 20);
        EXPECT_TRUE(row.edit(p));
        ASSERT_EQ(p.offers.size(), 1U);
        const PhaseList edited = {Three[0], row.offered, Three[2]};
        EXPECT_EQ(p.offers[0].current, Three);
        EXPECT_EQ(p.offers[0].proposed, edited);
        EXPECT_EQ(p.offers[0].maxCmds, 19);
        EXPECT_TRUE(p.offers[0].own && !p.offers[0].sameLists);
        EXPECT_EQ(p.Phases(), edited);

        p.rework = reworked;
        p.accept = false;
        EXPECT_FALSE(row.edit(p));
        EXPECT_EQ(p.Phases(), edited);
        p.accept = true;
        EXPECT_TRUE(row.edit(p));
        EXPECT_EQ(p.Phases(), reworked);
    }
    RecordingPattern p(Three);
    EXPECT_TRUE(p.SetPhase(0, {NaN, NaN}));
    EXPECT_TRUE(std::isnan(p.PhaseLen(0)) && std::isnan(p.PhaseAmp(0)));
}

TEST(Editing, EditsOfNoPhaseOrNoLengthAreRefusedUnasked)
{
    RecordingPattern p(Three);
    for (const int outside : {-1, 3, SmallestInt, LargestInt}) {
        EXPECT_FALSE(p.SetPhaseLen(outside, 10));
        EXPECT_FALSE(p.SetPhaseAmp(outside, 10));
        EXPECT_FALSE(p.SetPhase(outside, {10, 10}));
    }
    EXPECT_FALSE(p.SetPhaseLen(0, -1));
    EXPECT_FALSE(p.SetPhaseLen(0, NaN));
    EXPECT_TRUE(p.offers.empty());
    EXPECT_EQ(p.Phases(), Three);
}

TEST(Editing, WholeListIsValidatedAsOfferedThenClamped)
{
    RecordingPattern p(Three, 10, 1, 5);
    p.SetPhases({{100, 2000}, {100, 0}, {100, -2000}});
    EXPECT_EQ(p.Phases(), Three) << "counts 6 words of 4";
    p.SetPhases({{100, 2000}, {100, -2000}});
    EXPECT_EQ(p.Phases(), (PhaseList{{100, 1000}, {100, -1000}}));
    p.SetPhases({{10, 5}});
    EXPECT_EQ(p.Phases(), (PhaseList{{10, 5}}));
    p.SetPhases({});
    EXPECT_EQ(p.PhaseCount(), 0);
    EXPECT_TRUE(p.offers.empty());

    HostPattern pause({}, 10, 1, 20, 0);
    pause.SetPhases({{15, 5}, {15, -5}});
    EXPECT_EQ(pause.PhaseCount(), 0) << "only its clamped form would be valid";
    pause.SetPhases({{15, 5}});
    EXPECT_EQ(pause.Phases(), (PhaseList{{15, 0}}));

    HostPattern same(Three);
    same.SetPhases({{100, 10}, {50, 0}});
    EXPECT_EQ(same.PhaseCount(), 2);
    same.SetPhases({{100, NaN}});
    same.SetPhases({{100, NaN}});
    EXPECT_EQ(same.ChangeCount(), 3);
}

TEST(Editing, RawEditsTakeWhatTheyAreGiven)
{
    const phase added{-7, 5000};
    const phase a = Three[0], b = Three[1], c = Three[2];
    const std::pair<int, PhaseList> inserts[] = {{0, {added, a, b, c}},
                                                 {2, {a, b, added, c}},
                                                 {3, Three},
                                                 {LargestInt, Three},
                                                 {-4, {added, a, b, c}}};
    for (const auto& [index, after] : inserts) {
        HostPattern p(Three);
        EXPECT_EQ(p.InsertPhase(index, added.len, added.amp), static_cast<int>(after.size()));
        EXPECT_EQ(p.Phases(), after) << index;
    }
    const std::pair<int, PhaseList> removals[] = {
        {0, {b, c}}, {2, {a, b}}, {3, Three}, {-1, {b, c}}, {SmallestInt, {b, c}}};
    for (const auto& [index, after] : removals) {
        HostPattern p(Three);
        EXPECT_EQ(p.RemovePhase(index), static_cast<int>(after.size()));
        EXPECT_EQ(p.Phases(), after) << index;
    }
    HostPattern p(Three);
    EXPECT_EQ(p.AppendPhase(added.len, added.amp), 4);
    EXPECT_EQ(p.Phases(), (PhaseList{a, b, c, added}));
    p.ClearPhases();
    EXPECT_EQ(p.PhaseCount(), 0);
    EXPECT_EQ(p.InsertPhase(0, 1, 1), 0);
    EXPECT_EQ(p.RemovePhase(0), 0);
}

TEST(Editing, ActivePhasesAreThoseNotExactlyZero)
{
    struct Row
    {
        PhaseList phases;
        int first, last;
    };
    const Row rows[] = {
        {{}, -1, -1},
        {{{1, 0}, {1, -0.0f}}, -1, -1},
        {{{1, 0}, {1, 0}, {1, 5}, {1, 0}, {1, -5}, {1, 0}}, 2, 4},
        {{{1, 1e-40f}, {1, 0}}, 0, 0},
        {{{1, 0}, {1, NaN}}, 1, 1},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(HostPattern(row.phases).FirstActivePhase(), row.first);
        EXPECT_EQ(HostPattern(row.phases).LastActivePhase(), row.last);
    }
}

}  // namespace
