#include "ContinuedItemPlay.h"

#include <cstdint>
#include <cstring>

#include "TestPatterns.h"

namespace {

// A play of a pattern of 100 ms at 100 us, and of all its words.
struct Player : HostPattern
{
    explicit Player(int cycles, int started, const char* phases = "1000,10 99000,0")
        : HostPattern(Listed(phases), 100)
    {
        SetCycleCount(cycles);
        play = {{7, &slot}, started, 0};
    }

    // Into a buffer at an odd address.
    std::string Go(long now)
    {
        return Hex(Collected(MaxWords, [&](unsigned int* words) {
            unsigned char odd[4 * MaxWords + 1];
            std::memcpy(odd + 1, words, sizeof odd - 1);
            const int count = play.ContinueCmds(now, odd + 1);
            std::memcpy(words, odd + 1, sizeof odd - 1);
            return count;
        }));
    }

    StimPattern* slot = this;
    ContinuedItemPlay play{{7, &slot}, 0, 0};
};

TEST(ContinuedPlay, GoesOnInBlocksOf4095CyclesTwoMillisecondsAfterTheyAreDue)
{
    Player p(10000, 4095);
    EXPECT_EQ(p.play.Channel(), 7);
    EXPECT_EQ(p.play.RemCycles(), 5905);
    EXPECT_EQ(p.play.ContinuePeriodMsec(), 409500);
    const struct
    {
        long now;
        const char* words;
        int cyclesLeft;
        std::int64_t next;
    } steps[] = {{-1, "refused", 5905, 0},
                 {2, "refused", 5905, 0},
                 {3, "00000FFF 000AA08A 03DE0000", 1810, 409500},
                 {409502, "refused", 1810, 409500},
                 {409503, "00000712 000AA08A 03DE0000", 0, 819000},
                 {9000000, "refused", 0, 819000}};
    for (const auto& [now, words, cyclesLeft, next] : steps) {
        EXPECT_EQ(p.Go(now), words) << now;
        EXPECT_EQ(p.play.RemCycles(), cyclesLeft);
        EXPECT_EQ(p.play.m_startMsec, 0);
        EXPECT_EQ(p.play.m_nextMsec, next);
    }
    EXPECT_TRUE(ContinuedItemPlay({7, &p.slot}, 0, -5).ReadyToContinue(-2));
    EXPECT_FALSE(ContinuedItemPlay({7, &p.slot}, 0, -5).ReadyToContinue(-3));
}

TEST(ContinuedPlay, LastBlockHoldsWhatIsLeft)
{
    const struct
    {
        int cycles, started;
        const char* block;
        int left;
    } plays[] = {{101, 100, "00000001", 0},
                 {4194, 100, "00000FFE", 0},
                 {4195, 100, "00000FFF", 0},
                 {4196, 100, "00000FFF", 1},
                 {10, 10, "refused", 0},
                 {10, 11, "refused", -1},
                 {10, SmallestInt, "0000000A", LargestInt - 4095}};
    for (const auto& [cycles, started, block, left] : plays) {
        Player p(cycles, started);
        EXPECT_EQ(p.Go(3).substr(0, 8), std::string(block).substr(0, 8)) << cycles;
        EXPECT_EQ(p.play.RemCycles(), left);
    }
}

TEST(ContinuedPlay, WithoutAnEndNeverRunsDown)
{
    Player p(1, 0, "99.9,1");
    p.m_trainLengthUsec = Inf;
    p.play = {{7, &p.slot}, 4095, 0};
    EXPECT_EQ(p.play.RemCycles(), LargestInt);
    EXPECT_EQ(p.Go(3), "00000FFF 0001A081");
    EXPECT_EQ(p.play.m_nextMsec, 409) << "409.0905 ms, in whole milliseconds";
    EXPECT_EQ(p.Go(412), "00000FFF 0001A081");
    EXPECT_EQ(p.play.m_nextMsec, 818);
    p.play.m_remCycles = 5;
    EXPECT_EQ(p.Go(821), "00000005 0001A081");
    EXPECT_EQ(p.play.RemCycles(), 5);
}

TEST(ContinuedPlay, RefusalLeavesTheRecordAlone)
{
    Player p(5000, 0);
    p.m_phases = Listed("-1,0");
    EXPECT_EQ(p.Go(3), "refused");
    p.slot = nullptr;
    EXPECT_EQ(p.Go(3), "refused");
    EXPECT_EQ(p.play.RemCycles(), 5000);
    EXPECT_EQ(p.play.m_nextMsec, 0);
}

TEST(ContinuedPlay, DueTimesStayWithinTheirType)
{
    // A host that accepts any list can leave an array without words, and a period without bounds.
    struct Careless : Player
    {
        using Player::Player;
        bool AdjustPhases(PhaseList&, PhaseList&, int) override { return true; }
    };
    constexpr std::int64_t Latest = std::numeric_limits<std::int64_t>::max();
    const std::tuple<const char*, int, std::int64_t> plays[] = {
        {"1e30,0", 9, Latest}, {"-1e30,0", -9, -Latest - 1}, {"-1024000,0", -9, -4193289}};
    for (const auto& [phases, start, next] : plays) {
        Careless p(1, 0, phases);
        p.m_trainLengthUsec = Inf;
        p.m_arrayChangeCount = p.m_changeCount;
        p.play = {{7, &p.slot}, 0, start};
        unsigned char buffer[4];
        EXPECT_EQ(p.play.ContinueCmds(20, buffer), 0);
        EXPECT_EQ(p.play.m_nextMsec, next);
    }
    Player p(5000, 0);
    constexpr long LastTick = std::numeric_limits<long>::max();
    for (const std::int64_t last : {Latest, std::int64_t{LastTick}})
        for (const int before : {0, 1, 2}) {
            p.play.m_nextMsec = last - before;
            EXPECT_FALSE(p.play.ReadyToContinue(LastTick)) << "no clock shows more than 2 ms after it";
            EXPECT_EQ(p.Go(LastTick), "refused");
        }
    p.play.m_nextMsec = LastTick - 3;
    EXPECT_TRUE(p.play.ReadyToContinue(LastTick));
}

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
