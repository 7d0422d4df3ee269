#include <cmath>

#include "TestPatterns.h"

namespace {

using Edit = std::function<void(RecordingPattern&)>;

const PhaseList Three = Listed("100,10 50,0 100,-10");
const phase Other{10, 10}, TooLarge{-8, 1001};

TEST(Editing, OnlyWhatIsMeantToRaisesTheChangeCount)
{
    const PhaseList one = {Other}, invalid = {{-1, 0}};
    const std::tuple<const char*, Edit, int> edits[] = {
        {"Touch", [](auto& p) { p.Touch(); }, 1},
        {"label, another", [](auto& p) { p.SetLabel("b"); }, 1},
        {"label, the same", [](auto& p) { p.SetLabel("a"); }, 0},
        {"label, longer by a NUL", [](auto& p) { p.SetLabel(std::string("a\0", 2)); }, 1},
        {"train", [](auto& p) { p.SetTrainLength(1); }, 1},
        {"train, the same", [](auto& p) { p.SetTrainLength(0.5f); }, 0},
        {"train, NaN is never the same", [](auto& p) { p.SetTrainLength(NaN), p.SetTrainLength(NaN); }, 2},
        {"cycles, twice the same", [](auto& p) { p.SetCycleCount(4), p.SetCycleCount(4); }, 1},
        {"cycles of the same train", [](auto& p) { p.SetCycleCount(2); }, 0},
        {"length", [](auto& p) { p.SetPhaseLen(0, 10); }, 1},
        {"length, the same", [](auto& p) { p.SetPhaseLen(0, 100); }, 1},
        {"amplitude", [](auto& p) { p.SetPhaseAmp(0, 10); }, 1},
        {"phase", [](auto& p) { p.SetPhase(0, Other); }, 1},
        {"phase, outside", [](auto& p) { p.SetPhase(3, Other); }, 0},
        {"phase, refused", [](auto& p) { p.accept = false, p.SetPhase(0, Other); }, 0},
        {"list", [&](auto& p) { p.SetPhases(one); }, 1},
        {"list, the same", [](auto& p) { p.SetPhases(Three); }, 0},
        {"list, refused", [&](auto& p) { p.SetPhases(invalid); }, 0},
        {"insert", [](auto& p) { p.InsertPhase(2, 1, 1); }, 1},
        {"insert, nothing inserted", [](auto& p) { p.InsertPhase(3, 1, 1); }, 1},
        {"remove", [](auto& p) { p.RemovePhase(2); }, 1},
        {"remove, none there", [](auto& p) { p.RemovePhase(3); }, 0},
        {"clear, twice", [](auto& p) { p.ClearPhases(), p.ClearPhases(); }, 1},
        {"append", [](auto& p) { p.AppendPhase(1, 1); }, 1},
        {"amplitude step", [](auto& p) { p.SetAmpStepSize(2, true); }, 0},
        {"largest amplitude", [](auto& p) { p.SetAmpMax(5); }, 0},
        {"amplitudes to 0", [](auto& p) { p.SetAmpsToZero(); }, 0},
        {"override", [](auto& p) { p.SetCmdOverride(true, 5); }, 0},
        {"a repair", [&](auto& p) { p.m_phases = invalid, p.rework = one, p.Update(); }, 0},
        {"frequency", [](auto& p) { p.SetFrequency(5); }, 0},
    };
    for (const auto& [name, run, raises] : edits) {
        RecordingPattern p(Three);
        p.m_label = "a";
        p.m_trainLengthUsec = 500;
        p.m_changeCount = 10;
        run(p);
        EXPECT_EQ(p.ChangeCount(), 10 + raises) << name;
    }
}

TEST(Editing, SinglePhaseEditsAreOfferedToTheRepair)
{
    const std::tuple<bool (*)(RecordingPattern&), phase> rows[] = {
        {[](auto& p) { return p.SetPhaseLen(1, 7.5f); }, {7.5f, 0}},
        {[](auto& p) { return p.SetPhaseLen(1, 0); }, {0, 0}},
        {[](auto& p) { return p.SetPhaseAmp(1, 3.3f); }, {50, 3.3f}},
        {[](auto& p) { return p.SetPhaseAmp(1, 1500); }, {50, 1000}},
        {[](auto& p) { return p.SetPhaseAmp(1, -2500); }, {50, -1000}},
        {[](auto& p) { return p.SetPhase(1, TooLarge); }, {-8, 1000}}};
    for (const auto& [edit, offered] : rows) {
        RecordingPattern p(Three, 1, 1, 20);
        EXPECT_TRUE(edit(p));
        ASSERT_EQ(p.offers.size(), 1U);
        const PhaseList edited = {Three[0], offered, Three[2]};
        EXPECT_EQ(p.offers[0].current, Three);
        EXPECT_EQ(p.offers[0].proposed, edited);
        EXPECT_EQ(p.offers[0].maxCmds, 19);
        EXPECT_TRUE(p.offers[0].own && !p.offers[0].sameLists);
        EXPECT_EQ(p.Phases(), edited);

        p.rework = Listed("1,2 3,4");
        p.accept = false;
        EXPECT_FALSE(edit(p));
        EXPECT_EQ(p.Phases(), edited);
        p.accept = true;
        EXPECT_TRUE(edit(p));
        EXPECT_EQ(p.Phases(), p.rework);
    }
}

TEST(Editing, EditsOfNoPhaseOrNoLengthAreRefusedUnasked)
{
    RecordingPattern p(Three);
    for (const int outside : {-1, 3, SmallestInt, LargestInt})
        EXPECT_FALSE(p.SetPhaseLen(outside, 10) || p.SetPhaseAmp(outside, 10) || p.SetPhase(outside, Other));
    EXPECT_FALSE(p.SetPhaseLen(0, -1) || p.SetPhaseLen(0, NaN));
    EXPECT_TRUE(p.offers.empty());
    EXPECT_EQ(p.Phases(), Three);
    EXPECT_TRUE(p.SetPhase(0, {NaN, NaN}));
    EXPECT_TRUE(std::isnan(p.PhaseLen(0)) && std::isnan(p.PhaseAmp(0)));
}

TEST(Editing, WholeListIsValidatedAsOfferedThenClamped)
{
    const std::tuple<const char*, const char*, float> rows[] = {
        {"100,5 100,0 100,-5", "100,10 50,0 100,-10", 1000},  // counts 6 words of 4
        {"100,2000 100,-2000", "100,1000 100,-1000", 1000},
        {"100,10 50,0", "100,10 50,0", 1000},
        {"", "", 1000},
        {"15,5 15,-5", "100,10 50,0 100,-10", 0},  // only its clamped form is valid
        {"15,0.5", "15,0", 0}};
    for (const auto& [offered, after, ampMax] : rows) {
        RecordingPattern p(Three, 10, 1, 5, ampMax);
        p.SetPhases(Listed(offered));
        EXPECT_EQ(p.Phases(), Listed(after)) << offered;
        EXPECT_TRUE(p.offers.empty());
    }
    HostPattern p(Three);
    for (int i = 0; i < 2; ++i) p.SetPhases({{100, NaN}});
    EXPECT_EQ(p.ChangeCount(), 2) << "a NaN is never the same";
}

TEST(Editing, RawEditsTakeWhatTheyAreGiven)
{
    const std::string start = "-7,5000 100,10 50,0 100,-10", unchanged = "100,10 50,0 100,-10";
    const std::tuple<int, std::string, std::string> rows[] = {
        {0, start, "50,0 100,-10"},  {2, "100,10 50,0 -7,5000 100,-10", "100,10 50,0"},
        {3, unchanged, unchanged},   {LargestInt, unchanged, unchanged},
        {-1, start, "50,0 100,-10"}, {SmallestInt, start, "50,0 100,-10"}};
    for (const auto& [index, inserted, removed] : rows) {
        HostPattern inserting(Three), removing(Three);
        const int more = inserting.InsertPhase(index, -7, 5000);
        const int fewer = removing.RemovePhase(index);
        EXPECT_EQ((std::vector{more, fewer}), (std::vector{inserting.PhaseCount(), removing.PhaseCount()}));
        EXPECT_EQ(inserting.Phases(), Listed(inserted)) << index;
        EXPECT_EQ(removing.Phases(), Listed(removed)) << index;
    }
    HostPattern p(Three);
    EXPECT_EQ(p.AppendPhase(-7, 5000), 4);
    EXPECT_EQ(p.Phases(), Listed(unchanged + " -7,5000"));
    p.ClearPhases();
    EXPECT_EQ(p.InsertPhase(0, 1, 1) + p.RemovePhase(0), 0) << "there is no phase to insert before";
}

TEST(Editing, ActivePhasesAreThoseNotExactlyZero)
{
    for (const auto& [phases, ends] :
         Cases(" = -1 -1 | 1,0 1,-0 = -1 -1 | 1,0 1,0 1,5 1,0 1,-5 1,0 = 2 4 | 1,1e-40 1,0 = 0 0 | "
               "1,0 1,nan = 1 1")) {
        const HostPattern p(Listed(phases));
        EXPECT_EQ(std::to_string(p.FirstActivePhase()) + " " + std::to_string(p.LastActivePhase()), ends)
            << phases;
    }
}

}  // namespace
