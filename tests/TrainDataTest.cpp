#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <tuple>

#include "Samples.h"
#include "Schedule.h"

// The current of trains over time, as samples and on many channels, compared with a separate calculation.

using namespace preview;

namespace {

// A biphasic pulse of random lengths and currents; about one in ten has no words.
std::string RandomText(std::mt19937& random)
{
    const auto number = [&](int most) {
        return std::to_string(std::uniform_int_distribution<>(0, most)(random));
    };
    return "R:(" + number(50) + ",0)(" + number(900) + ",-" + number(90) + ")(" + number(90) + ",0)(" +
           number(900) + "," + number(90) + ")(" + number(9000) + ",0):DurationMsec=[" + number(300) + ".7]";
}

TEST(TrainDataTest, SamplesKeepTheChargeOfTheTrain)
{
    std::mt19937 random(7);
    Stimulator stimulator;
    stimulator.ampStepUa = 1;
    Report report(stimulator);
    for (int patterns = 0; patterns < 1000;) {
        ReportOn(RandomText(random), {}, Reading::Strict, report);
        if (!report.encoding.Encoded()) continue;
        ++patterns;
        const Deviations& d = report.deviations;
        const auto cycles = static_cast<std::int64_t>(d.cycles.played);
        const double rateHz = std::exp(std::uniform_real_distribution<>(3, 13)(random));
        double charge = 0;
        double samples = 0;
        ForEachSample(TrainOf(report.encoding.words, stimulator.Scale(), cycles), rateHz,
                      [&](double timeUsec, double currentUa) {
                          ASSERT_NEAR(timeUsec, samples++ * 1e6 / rateHz, 1e-3);
                          charge += currentUa / rateHz * 1e3;
                      });
        const double absolute = (d.playedNc.positiveNc - d.playedNc.negativeNc) * d.cycles.played;
        ASSERT_NEAR(charge, d.playedNc.NetNc() * d.cycles.played, 1e-9 * absolute)
            << report.encoding.asked.text;
        ASSERT_NEAR(samples, std::ceil(d.trainMsec.played * rateHz / 1e3 - 1e-6), 0) << rateHz;
    }
}

// The blocks that a host must send: of 4095 cycles, the first at the start, the second due at once, each further one a
// block later; sorted by due time, at equal times starts first, then those with fewer cycles left.
using Command =
    std::tuple<std::int64_t, bool, int, int, int>;  // due, continued, left before it, channel, cycles

void AddCommands(int channel, std::int64_t startMsec, int cycles, float periodMsec,
                 std::vector<Command>& commands)
{
    constexpr int Block = 4095;
    const auto blockMsec = static_cast<std::int64_t>(periodMsec * static_cast<float>(Block));
    std::int64_t due = startMsec;
    for (int left = cycles; left > 0; left -= Block) {
        const bool continued = left != cycles;
        commands.emplace_back(due, continued, continued ? left : 0, channel, std::min(left, Block));
        if (continued) due += blockMsec;
    }
}

class Hour : public testing::Test
{
 protected:
    static constexpr int Channels = 256;
    static constexpr std::array rests{4540, 9540, 19540, 7540};

    Hour()
    {
        std::mt19937 random(11);
        Report report(stimulator);
        for (int channel = 0; channel < Channels; ++channel) {
            const std::string rest = std::to_string(rests[static_cast<std::size_t>(channel) % rests.size()]);
            ReportOn("C:(0,0)(200,-" + std::to_string(10 * (1 + channel % 9)) + ")(60,0)(200,50)(" + rest +
                         ",0):DurationMsec=[3599000]",
                     {}, Reading::Strict, report);
            const std::int64_t start = std::uniform_int_distribution<>(0, 900)(random);
            schedule.Add(static_cast<std::size_t>(channel), {channel, start, {}}, report);
            const StimPattern& pattern = Base(report.encoding.pattern);
            AddCommands(channel, start, pattern.CycleCount(), pattern.Period(), expected);
            trains.push_back(TrainOf(report.encoding.words, stimulator.Scale(), pattern.CycleCount()));
            startsUsec.push_back(static_cast<double>(start) * 1000);
        }
    }

    double TotalAt(double usec) const
    {
        double total = 0;
        for (std::size_t i = 0; i < trains.size(); ++i) {
            const double at = usec - startsUsec[i];
            if (at < 0 || at >= trains[i].EndUsec()) continue;
            const double inCycle = std::fmod(at, trains[i].periodUsec);
            for (const playback::Segment& s : trains[i].cycle)
                if (inCycle >= s.startUsec && inCycle < s.startUsec + s.durationUsec)
                    total += std::fabs(s.currentUa);
        }
        return total;
    }

    const Stimulator stimulator{PatternKind::Lilly, 20, 10, {}, 101};
    Schedule schedule{stimulator};
    std::vector<Command> expected;
    std::vector<Train> trains;
    std::vector<double> startsUsec;
};

long PeakKilobytes()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

TEST_F(Hour, CommandsOfAllChannelsComeAsTheyAreDue)
{
    std::stable_sort(expected.begin(), expected.end(), [](const Command& a, const Command& b) {
        return std::tie(std::get<0>(a), std::get<1>(a), std::get<2>(a)) <
               std::tie(std::get<0>(b), std::get<1>(b), std::get<2>(b));
    });
    const long before = PeakKilobytes();
    std::size_t next = 0;
    schedule.Play({}, {}, [&](const ScheduledCommand& command) {
        ASSERT_LT(next, expected.size());
        const auto& [due, continued, left, channel, cycles] = expected[next++];
        ASSERT_EQ(command.dueMsec, due);
        ASSERT_EQ(command.sentMsec, due + (continued ? 3 : 0));
        ASSERT_EQ(command.channel, channel);
        ASSERT_EQ(command.cycles, cycles);
        ASSERT_EQ(playback::CyclesOf(command.words[0]), cycles);
    });
    EXPECT_EQ(next, expected.size());
    EXPECT_LT(PeakKilobytes() - before, 4096);
}

TEST_F(Hour, NoMomentHasMoreCurrentThanTheLargestTotal)
{
    const TotalCurrent total = schedule.Total({});
    EXPECT_EQ(TotalAt(total.magnitude.atMsec * 1000 + 1e-3), total.magnitude.ua);
    EXPECT_FALSE(schedule.FindOverlap());
    std::mt19937 random(13);
    double largest = 0;
    for (int i = 0; i < 20000; ++i)
        largest = std::max(largest, TotalAt(std::uniform_real_distribution<>(0, 3.6e9)(random)));
    EXPECT_LE(largest, total.magnitude.ua);
}

}  // namespace
