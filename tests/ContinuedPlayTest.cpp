#include "ContinuedItemPlay.h"

#include "TestPatterns.h"

namespace {

TEST(ContinuedPlay, WithoutPatternOrBufferThereIsNothingToContinue)
{
    HostPattern pattern(Listed("1000,10 99000,0"), 100);
    pattern.SetCycleCount(5000);
    StimPattern *slot = &pattern, *empty = nullptr;
    unsigned char buffer[4 * StimPattern::MaxWords];
    ContinuedItemPlay play({7, &slot}, 0, 0);
    EXPECT_EQ(play.Pattern(), &pattern);
    EXPECT_EQ(play.ContinueCmds(3, nullptr), -1);
    EXPECT_EQ(play.m_remCycles, 5000);
    EXPECT_EQ(play.m_nextMsec, 0);
    for (StimPattern** const nowhere : {&empty, static_cast<StimPattern**>(nullptr)}) {
        ContinuedItemPlay none({1, nowhere}, -5, 0);
        EXPECT_EQ(none.RemCycles(), 0);
        EXPECT_EQ(none.Pattern(), nullptr);
        EXPECT_EQ(none.ContinuePeriodMsec(), 0);
        EXPECT_EQ(none.ContinueCmds(3, buffer), -1);
        none.m_remCycles = 1;
        EXPECT_EQ(none.ContinueCmds(3, buffer), -1);
    }
}

// A hook that makes the array stale while the words are about to be copied: the block is not played.
TEST(ContinuedPlay, ArrayThatGoesStaleInTheHookIsNotPlayed)
{
    struct Fickle : HostPattern
    {
        using HostPattern::HostPattern;
        bool AdjustPhases(PhaseList& /*current*/, PhaseList& /*proposed*/, int /*maxCmds*/) override
        {
            if (++asked == 2) Touch();
            return false;
        }
        int asked = 0;
    };
    Fickle pattern(Listed("1000,10"), 100);
    pattern.SetCycleCount(5000);
    ASSERT_TRUE(pattern.Update());
    pattern.m_phases = Listed("-1,0");
    StimPattern* slot = &pattern;
    unsigned char buffer[4 * StimPattern::MaxWords] = {};
    ContinuedItemPlay play({7, &slot}, 0, 0);
    play.m_remCycles = 5000;
    EXPECT_EQ(play.ContinueCmds(3, buffer), -1);
    EXPECT_EQ(pattern.asked, 2);
    EXPECT_EQ(play.m_remCycles, 5000);
    EXPECT_EQ(buffer[0] + buffer[4], 0);
}

TEST(ContinuedPlay, RecordsAreOrderedByDueTimeAndEqualByTheirStart)
{
    HostPattern pattern(Listed("1000,10 99000,0"), 100);
    StimPattern *slot = &pattern, *otherSlot = &pattern;
    const ContinuedItemPlay play({7, &slot}, 0, 100);
    EXPECT_FALSE(play == ContinuedItemPlay({8, &slot}, 0, 100));
    EXPECT_FALSE(play == ContinuedItemPlay({7, &otherSlot}, 0, 100));
    EXPECT_FALSE(play == ContinuedItemPlay({7, &slot}, 0, 101));
    ContinuedItemPlay later = play;
    EXPECT_FALSE(play < later);
    later.m_nextMsec = 200;
    later.m_remCycles = -3;
    EXPECT_TRUE(play == later);
    EXPECT_TRUE(play < later && !(later < play));
    later.m_nextMsec = 100;
    EXPECT_TRUE(later < play && !(play < later));
    ContinuedItemPlay copy({7, &slot}, 1, 5);
    copy = later;
    EXPECT_TRUE(copy == play);
    EXPECT_FALSE(copy < later || later < copy);
}

}  // namespace
