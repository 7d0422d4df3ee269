#include <malloc.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <memory>
#include <set>

#include "ContinuedItemPlay.h"
#include "TestPatterns.h"

// What only time can show: a count that wraps, an error that grows, memory that is not given back. Each test run does a
// small part; TARVUTIL_SOAK=1 makes 10^8 edits, and plays a year on 256 channels.

namespace {

bool IsLong()
{
    return std::getenv("TARVUTIL_SOAK") != nullptr;
}

// What is allocated may not grow after the first tenth: by 64 kB, which the allocator keeps aside.
class Memory
{
 public:
    void Look() { m_first = m_first == 0 ? mallinfo2().uordblks : m_first; }
    ~Memory() { EXPECT_LT(mallinfo2().uordblks, m_first + 65536); }

 private:
    std::size_t m_first = 0;
};

// Edits draw lengths and amplitudes that are refused, repaired or clamped now and then.
TEST(Soak, EditedPatternHasTheWordsOfAFreshOne)
{
    const int edits = IsLong() ? 100000000 : 200000;
    Random random(1);
    Memory memory;
    HostPattern edited(Listed("200,-60 100,0 200,60 9500,0"), ThirdStep, 10);
    Words words(StimPattern::MaxWords), fresh(StimPattern::MaxWords);
    int taken = 0, count = 0;
    for (int i = 0; i < edits && !HasFailure(); ++i) {
        const int index = random.Below(4);
        const auto value = static_cast<float>(random.Below(2000)) * 0.5f;
        const bool isTaken =
            random.Below(2) == 0 ? edited.SetPhaseLen(index, value) : edited.SetPhaseAmp(index, value - 500);
        taken += isTaken ? 1 : 0;
        count = edited.WordArray(words.data(), 0);
        if (i == edits / 10) memory.Look();
        if (i % 1000 != 0) continue;
        HostPattern again(edited.Phases(), ThirdStep, 10);
        ASSERT_EQ(again.WordArray(fresh.data(), 0), count);
        ASSERT_TRUE(std::equal(words.begin() + 1, words.begin() + std::max(count, 1), fresh.begin() + 1))
            << i;
        ASSERT_EQ(edited.ChangeCount(), taken);
        ASSERT_EQ(edited.ArrayIsCurrent(), count > 0);
    }
    EXPECT_GT(taken, edits / 4);
    EXPECT_LT(taken, edits);
}

// A play by its formula: block k of 4095 cycles is due at start + k times the duration of a block, cut to whole
// milliseconds.
struct Expected
{
    std::int64_t startMsec, blockMsec;
    std::int64_t left;  // after the host's own command; endless below 0
    std::int64_t sent = 0;

    std::int64_t Due() const { return startMsec + sent * blockMsec; }
    std::int64_t Left() const { return left < 0 ? LargestInt : left - 4095 * sent; }
};

// Period and block are products of single precision: each is rounded once from a double that is exact.
Expected Planned(std::int64_t periodUsec, std::int64_t cycles, std::int64_t startMsec)
{
    const auto periodMsec = static_cast<float>(static_cast<double>(periodUsec) / 1000);
    const auto blockMsec = static_cast<float>(static_cast<double>(periodMsec) * 4095);
    return {startMsec, static_cast<std::int64_t>(blockMsec), cycles < 0 ? -1 : cycles - 4095};
}

struct Playing
{
    ContinuedItemPlay play;
    std::size_t channel;
    bool operator<(const Playing& other) const { return play < other.play; }
};

class Year : public testing::Test
{
 protected:
    static constexpr std::size_t Channels = 256;
    struct Channel
    {
        std::unique_ptr<HostPattern> pattern;
        StimPattern* slot = nullptr;
        Expected expected{};
        std::int64_t cycles = 0;
    };

    // Periods of 7 to 107 ms, trains without end and of up to 30 million cycles, 20 days or so.
    Year()
    {
        for (Channel& channel : channels) {
            const int pause = random.Between(6500, 106500);
            channel.pattern = std::make_unique<HostPattern>(
                PhaseList{{200, -60}, {100, 0}, {200, 60}, {static_cast<float>(pause), 0}}, 20.0f);
            channel.slot = channel.pattern.get();
            channel.cycles = random.Below(2) == 0 ? -1 : random.Between(5000, 30000000);
            if (channel.cycles < 0)
                channel.pattern->SetTrainLength(LargestFloat);
            else
                channel.pattern->SetCycleCount(static_cast<int>(channel.cycles));
            Start(channel, random.Below(1000));
        }
    }

    void Start(Channel& channel, std::int64_t now)
    {
        const auto index = static_cast<std::size_t>(&channel - channels.data());
        // What the train has, after its length was rounded to a float.
        const std::int64_t cycles = channel.cycles < 0 ? -1 : channel.pattern->CycleCount();
        channel.expected = Planned(std::llround(channel.pattern->PeriodUsec()), cycles, now);
        const StimItem item{static_cast<int>(index), &channel.slot};
        plays.insert({ContinuedItemPlay(item, 4095, static_cast<long>(now)), index});
    }

    // Plays the block that is due next, at its first millisecond; when it is due.
    std::int64_t Step()
    {
        auto node = plays.extract(plays.begin());
        ContinuedItemPlay& play = node.value().play;
        Channel& channel = channels[node.value().channel];
        const std::int64_t due = channel.expected.Due();
        const std::int64_t left = channel.expected.Left();
        EXPECT_EQ(play.m_nextMsec, due);
        EXPECT_EQ(play.RemCycles(), left);
        EXPECT_FALSE(play.ReadyToContinue(static_cast<long>(due) + 2));
        unsigned int words[StimPattern::MaxWords];
        EXPECT_GT(play.ContinueCmds(static_cast<long>(due) + 3, reinterpret_cast<unsigned char*>(words)), 1);
        EXPECT_EQ(words[0], static_cast<unsigned int>(std::min<std::int64_t>(left, 4095)));
        ++channel.expected.sent;
        if (channel.expected.Left() > 0) {
            plays.insert(std::move(node));
        } else {
            EXPECT_EQ(play.RemCycles(), 0);
            EXPECT_EQ(
                play.ContinueCmds(std::numeric_limits<long>::max(), reinterpret_cast<unsigned char*>(words)),
                -1);
            Start(channel, due);
        }
        return due;
    }

    Random random{2};
    std::array<Channel, Channels> channels;
    std::multiset<Playing> plays;
};

TEST_F(Year, EveryBlockIsDueWhenItsFormulaSays)
{
    constexpr std::int64_t Day = 86400000;
    const std::int64_t end =
        std::min<std::int64_t>(IsLong() ? 365 * Day : Day, std::numeric_limits<long>::max());
    Memory memory;
    std::int64_t last = 0;
    for (std::int64_t now = 0; now < end && !HasFailure(); last = now, now = Step()) {
        ASSERT_GE(now, last) << "the order of the records is that of their due times";
        if (now > end / 10) memory.Look();
    }
    EXPECT_EQ(plays.size(), Channels);
}

}  // namespace
