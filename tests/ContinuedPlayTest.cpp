#include "ContinuedItemPlay.h"

#include <cstdint>
#include <cstring>

#include "TestPatterns.h"

namespace {

// A pattern of 100 ms in its slot, and a buffer at an odd address.
class ContinuedPlay : public testing::Test
{
 protected:
    ContinuedItemPlay Record(int cyclesStarted, long nowMsec = 0)
    {
        return ContinuedItemPlay({7, &slot}, cyclesStarted, nowMsec);
    }

    unsigned int WordIn(int i) const
    {
        unsigned int word = 0;
        std::memcpy(&word, buf + 4 * i, sizeof word);
        return word;
    }

    RecordingPattern pattern{Listed("1000,10 99000,0"), 100};
    StimPattern* slot = &pattern;
    unsigned char buffer[4 * StimPattern::MaxWords + 1] = {};
    unsigned char* buf = buffer + 1;
};

TEST_F(ContinuedPlay, FinitePlayGoesOnInBlocksOf4095Cycles)
{
    pattern.SetCycleCount(10000);
    ContinuedItemPlay play = Record(4095);
    EXPECT_EQ(play.Channel(), 7);
    EXPECT_EQ(play.Pattern(), &pattern);
    EXPECT_EQ(play.RemCycles(), 5905);
    EXPECT_EQ(play.ContinuePeriodMsec(), 409500);
    // Now, and after it the result, the cycles left, the next due time and word 0.
    const std::tuple<long, int, int, std::int64_t, unsigned int> rows[] = {{2, -1, 5905, 0, 0},
                                                                           {3, 3, 1810, 409500, 4095},
                                                                           {409502, -1, 1810, 409500, 4095},
                                                                           {409503, 3, 0, 819000, 1810},
                                                                           {9000000, -1, 0, 819000, 1810}};
    for (const auto& [now, result, left, next, word0] : rows) {
        const int count = play.ContinueCmds(now, buf);
        EXPECT_EQ(std::tuple(now, count, play.RemCycles(), play.m_nextMsec, WordIn(0)),
                  std::tuple(now, result, left, next, word0));
    }
    EXPECT_EQ(play.m_startMsec, 0);
    EXPECT_EQ(Hex(Words{4095, WordIn(1), WordIn(2)}), Array(pattern));
    EXPECT_EQ(WordIn(3), 0U);
}

TEST_F(ContinuedPlay, LastBlockHoldsWhatIsLeft)
{
    const std::pair<int, int> lefts[] = {{1, 0}, {4094, 0}, {4095, 0}, {4096, 1}, {8190, 4095}};
    for (const auto& [before, after] : lefts) {
        pattern.SetCycleCount(before + 100);
        ContinuedItemPlay play = Record(100);
        EXPECT_EQ(play.ContinueCmds(3, buf), 3);
        EXPECT_EQ(play.RemCycles(), after);
        EXPECT_EQ(WordIn(0), static_cast<unsigned int>(before - after));
    }
    pattern.SetCycleCount(10);
    EXPECT_EQ(Record(10).ContinueCmds(3, buf), -1);
    const std::pair<int, int> started[] = {
        {11, -1}, {SmallestInt, LargestInt}, {LargestInt, 10 - LargestInt}};
    for (const auto& [cycles, left] : started) EXPECT_EQ(Record(cycles).RemCycles(), left);
}

TEST_F(ContinuedPlay, ContinuousPlayNeverRunsDown)
{
    pattern.SetTrainLength(Inf);
    ContinuedItemPlay play = Record(4095);
    for (long now = 3; now < 2000000; now += 409500) {
        EXPECT_EQ(play.RemCycles(), LargestInt);
        EXPECT_EQ(play.ContinueCmds(now, buf), 3);
        EXPECT_EQ(WordIn(0), 4095U);
        EXPECT_EQ(play.m_nextMsec, now - 3 + 409500);
    }
    play.m_remCycles = 5;
    play.m_nextMsec = 0;
    pattern.SetPhases(Listed("99.9,1"));
    EXPECT_EQ(play.ContinueCmds(3, buf), 2);
    EXPECT_EQ(play.RemCycles(), 5);
    EXPECT_EQ(play.m_nextMsec, 409) << "409.0905 ms cut to whole milliseconds";
}

TEST_F(ContinuedPlay, RefusalLeavesRecordAndBufferAlone)
{
    pattern.SetCycleCount(5000);
    ContinuedItemPlay play = Record(0);
    EXPECT_EQ(play.ContinueCmds(3, nullptr), -1);
    EXPECT_EQ(play.ContinueCmds(-1, buf), -1);
    pattern.accept = false;
    pattern.AppendPhase(-1, 0);
    EXPECT_EQ(play.ContinueCmds(3, buf), -1);
    slot = nullptr;
    EXPECT_EQ(play.ContinueCmds(3, buf), -1);
    EXPECT_EQ(play.m_remCycles, 5000);
    EXPECT_EQ(play.m_nextMsec, 0);
    EXPECT_EQ(WordIn(0), 0U);

    slot = nullptr;
    for (StimPattern** empty : {&slot, static_cast<StimPattern**>(nullptr)}) {
        ContinuedItemPlay none({1, empty}, -5, 0);
        EXPECT_EQ(none.RemCycles(), 0);
        EXPECT_EQ(none.Pattern(), nullptr);
        EXPECT_EQ(none.ContinuePeriodMsec(), 0);
        EXPECT_EQ(none.ContinueCmds(3, buf), -1);
    }
}

// A hook that accepts any list can leave an array without words, and a period without bounds.
TEST_F(ContinuedPlay, DueTimesSaturateWhenTheArrayHasNoWords)
{
    pattern.SetTrainLength(Inf);
    using Limits = std::numeric_limits<std::int64_t>;
    const std::tuple<float, long, std::int64_t> rows[] = {
        {1e30f, 9, Limits::max()}, {-1e30f, -9, Limits::min()}, {-1024000, -9, -9 - 1024 * 4095}};
    for (const auto& [usec, start, next] : rows) {
        pattern.m_phases = {{usec, 0}};
        pattern.UpdateWordArray();
        pattern.m_arrayChangeCount = pattern.m_changeCount;
        ContinuedItemPlay play = Record(0, start);
        EXPECT_EQ(play.ContinueCmds(20, buf), 0);
        EXPECT_EQ(play.m_nextMsec, next);
    }
}

TEST_F(ContinuedPlay, RecordsAreOrderedByDueTimeAndEqualByTheirStart)
{
    StimPattern* otherSlot = &pattern;
    const ContinuedItemPlay play = Record(0, 100);
    EXPECT_FALSE(play == ContinuedItemPlay({8, &slot}, 0, 100));
    EXPECT_FALSE(play == ContinuedItemPlay({7, &otherSlot}, 0, 100));
    EXPECT_FALSE(play == Record(0, 101));
    ContinuedItemPlay later = play;
    EXPECT_FALSE(play < later);
    later.m_nextMsec = 200;
    later.m_remCycles = -3;
    EXPECT_TRUE(play == later);
    EXPECT_TRUE(play < later && !(later < play));
    later.m_nextMsec = 100;
    EXPECT_TRUE(later < play && !(play < later));
    ContinuedItemPlay copy = Record(1, 5);
    copy = later;
    EXPECT_TRUE(copy == play);
    EXPECT_FALSE(copy < later || later < copy);
    EXPECT_TRUE(Record(0, -5).ReadyToContinue(-2));
    EXPECT_FALSE(Record(0, -5).ReadyToContinue(-3));
}

}  // namespace
