#include "Design.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <random>

#include "Advice.h"
#include "Picture.h"
#include "Sentences.h"
#include "Sequence.h"
#include "Svg.h"
#include "TestPatterns.h"

using namespace preview;

namespace {

DesignRequest Pulse()
{
    DesignRequest request;
    request.amplitudeUa = 60;
    request.phase1Usec = 100;
    request.ipiUsec = 100;
    return request;
}

std::string Repeated(const std::string& text, int times)
{
    std::string repeated;
    while (times-- > 0) repeated += text;
    return repeated;
}

// Reads the text again, as a host would.
int CyclesRead(const Design& design)
{
    Report report(design.report.stimulator);
    ReportOn(design.text, {}, Reading::Strict, report);
    return Base(report.encoding.pattern).CycleCount();
}

TEST(DesignTest, TheLibraryCountsThePulsesThatAreAsked)
{
    Random random(60);
    Design design{Stimulator{}};
    for (int i = 0; i < 60; ++i) {
        DesignRequest request = Pulse();
        request.frequencyHz = std::pow(1000.0, i / 59.0);
        for (int k = 0; k < 80; ++k) {
            // The smallest counts, the largest that are promised, from all magnitudes between them, and more: above
            // 100000 the next float may be the one.
            request.pulses = k < 20   ? k + 1
                             : k < 30 ? 100000 - (k - 20)
                             : k < 60 ? std::lround(std::pow(1e5, k / 60.0))
                                      : std::lround(1e5 * std::pow(20, (k - 60) / 20.0));
            MakeDesign(request, design);
            ASSERT_EQ(CyclesRead(design), request.pulses) << request.frequencyHz << " Hz: " << design.text;
        }
    }
}

TEST(DesignTest, ATrainHasThePulsesThatGoIntoIt)
{
    Design design{Stimulator{}};
    for (int hz = 1; hz <= 1000; hz += 3)
        for (const int seconds : {1, 10, 100}) {
            DesignRequest request = Pulse();
            request.frequencyHz = hz;
            request.trainMsec = seconds * 1000;
            MakeDesign(request, design);
            ASSERT_EQ(CyclesRead(design), hz * seconds) << design.text;
        }
}

TEST(DesignTest, ACountThatNoDurationGivesIsOutOfReach)
{
    Design design{Stimulator{}};
    DesignRequest request = Pulse();
    request.frequencyHz = 100;
    int made = 0;
    for (request.pulses = 40000000; request.pulses < 40000010; ++request.pulses) {
        MakeDesign(request, design);
        if (design.text.empty())
            EXPECT_EQ(design.outOfReach.value().item, DesignItem::Cycles);
        else
            EXPECT_EQ(CyclesRead(design), request.pulses);
        made += design.text.empty() ? 0 : 1;
    }
    EXPECT_GT(made, 0);
    EXPECT_LT(made, 10);
}

// The list that is suggested in place of a refused list plays, and moves no boundary by more than two time steps.
TEST(AdviceTest, PlaysWhereTheListIsRefused)
{
    Random random(31);
    int offered = 0;
    for (int i = 0; i < 2000; ++i) {
        Stimulator stimulator;
        stimulator.pattern = PatternKind::Plain;
        if (i % 2 == 0) stimulator.timeStepUsec = 20;
        std::string text = "Head:";
        for (int k = random.Between(2, 8); k > 0; --k)
            text += "(" + std::to_string(random.Between(1, 300)) + "," +
                    std::to_string(random.Between(-2, 2) * 10) + ")";
        Report report(stimulator);
        ReportOn(text + ":DurationMsec=[100]", {}, Reading::Strict, report);
        if (report.encoding.Encoded()) continue;
        const Advice advice = AdviceOn(report);
        if (advice.text.empty()) continue;
        ++offered;
        Report played(stimulator);
        ReportOn(advice.text, {}, Reading::Strict, played);
        ASSERT_TRUE(played.encoding.Encoded()) << text << " -> " << advice.text;
        for (const double usec : advice.movedUsec)
            ASSERT_LE(std::fabs(usec), 2 * stimulator.Scale().timeStepUsec + 4)
                << text << " -> " << advice.text;
    }
    EXPECT_GT(offered, 500);
}

// Lists on the time steps and near them, currents of whole steps and others: all that a short look at the words could
// take for what is asked.
TEST(ReportTest, WarnsTheSameWithoutALookAtEveryDeviation)
{
    std::mt19937 random(5);
    const auto below = [&](int count) { return std::uniform_int_distribution<>(0, count - 1)(random); };
    int plain = 0;
    int balanced = 0;
    int notable = 0;
    for (int i = 0; i < 30000; ++i) {
        Stimulator stimulator;
        const bool lilly = below(3) == 0;
        stimulator.pattern = lilly ? PatternKind::Lilly : PatternKind::Plain;
        stimulator.timeStepUsec =
            std::array<float, 5>{1, 10, 20, 33.333332f, 100}[static_cast<std::size_t>(below(5))];
        std::vector<std::pair<long, int>> list(static_cast<std::size_t>(lilly ? 5 : 1 + below(5)));
        for (auto& [usec, ua] : list) {
            const int most = below(4) == 0 ? 3000000 : 20;
            usec =
                std::lround(below(most) * stimulator.Scale().timeStepUsec) + (below(6) == 0 ? below(3) : 0);
            ua = below(2) * (10 * (below(203) - 101) + (below(20) == 0 ? 4 : 0));
        }
        const int mode = below(5);
        if (lilly) {
            list[0].second = list[2].second = list[4].second = 0;
            const int ratio = 1 << std::max(0, mode - 1);
            if (below(4) > 0) list[3] = {list[1].first * ratio, -list[1].second / ratio};
        }
        std::string text = "R:";
        long period = 0;
        for (const auto& [usec, ua] : list) {
            period += usec;
            text += "(" + std::to_string(usec) + "," + std::to_string(ua) + ")";
        }
        const long msec = std::max(1L, period * (1 + below(3)) / 1000);
        text += ":DurationMsec=[" + (below(2) == 0 ? "inf" : std::to_string(msec)) + "]";
        if (lilly && below(3) > 0) text += ":ChargeBalanceIdx=[" + std::to_string(mode) + "]";
        Report whole(stimulator);
        Report brief(stimulator);
        ReportOn(text, {}, Reading::Strict, whole);
        ReportOn(text, {}, Reading::Strict, brief, Purpose::Warnings);
        if (!whole.encoding.Encoded()) continue;
        if (brief.deviations.phases.empty()) (lilly ? balanced : plain) += 1;
        notable += DeviationSentences(whole).empty() ? 0 : 1;
        ASSERT_EQ(DeviationSentences(brief), DeviationSentences(whole))
            << text << " " << stimulator.timeStepUsec;
        ASSERT_EQ(WarningSentences(brief), WarningSentences(whole)) << text;
    }
    EXPECT_GT(plain, 1000);
    EXPECT_GT(balanced, 200);
    EXPECT_GT(notable, 1000);
}

// Somebody has looked at each of these pictures. The file of one that has changed is written: look at it, and put its new
// checksum here.
TEST(PictureTest, LooksAsItDidWhenItWasLookedAt)
{
    struct
    {
        const char* file;
        PatternKind pattern;
        float timeStepUsec;
        Drawn drawn;
        std::string text;
        std::uint64_t checksum;
    } const pictures[] = {
        {"pulse.svg", PatternKind::Lilly, 10, Drawn::Cycle,
         "Pulse:(0,0)(200,-60)(100,0)(400,30)(99300,0):DurationMsec=[1000]:ChargeBalanceIdx=[2]",
         0x522875C245AA7151},
        {"off-the-grid.svg", PatternKind::Lilly, 20, Drawn::Cycle,
         "Off:(0,0)(215,-64)(50,0)(215,64)(1117,0):DurationMsec=[10]:ChargeBalanceIdx=[1]",
         0x87BE037BD27BF6B8},
        {"two-pauses.svg", PatternKind::Plain, 10, Drawn::Cycle,
         "Two:(300,50)(5000,0)(300,-50)(94400,0):DurationMsec=[200]", 0x140459B472F07EB0},
        {"many-pauses.svg", PatternKind::Plain, 10, Drawn::Cycle,
         "Many:" + Repeated("(100,40)(100,-40)(3000,0)(100,20)(5000,0)", 40) + ":DurationMsec=[inf]",
         0xD24228688E942A2C},
        {"some-pauses.svg", PatternKind::Plain, 10, Drawn::Cycle,
         "Some:" + Repeated("(100,40)(100,-40)(3000,0)(100,20)(5000,0)", 9) + ":DurationMsec=[inf]",
         0x898A6F1BA81CC0C7},
        {"seconds.svg", PatternKind::Plain, 100, Drawn::Cycle,
         "Slow:(2000000,10)(1000000,0)(2000000,-10)(8000000,0):DurationMsec=[13000]", 0x74F4B9826E9193C8},
        {"nothing.svg", PatternKind::Plain, 10, Drawn::Cycle, "None:(1000,0)(1000,0):DurationMsec=[2]",
         0xE5CDFE5EFEAAC71F},
        {"texts.svg", PatternKind::Plain, 10, Drawn::Cycle,
         "\xC3\xA9\xE5\x88\xBA\t<&>" + Repeated(" long", 40) +
             ":(215,50)(50,0)(213,-50)(1004,0):DurationMsec=[7.7]",
         0x3B9026B8E70535D9},
        {"cycles.svg", PatternKind::Plain, 20, Drawn::Train,
         "Cycles:(210,-60)(30,0)(210,60)(5005,0):DurationMsec=[17]", 0x36C38B27939FDFE9},
        {"columns.svg", PatternKind::Plain, 10, Drawn::Train,
         "Columns:(200,-60)(400,30)(99400,0):DurationMsec=[5000]", 0x3ECFD0E5927C647A},
        {"many-cycles.svg", PatternKind::Plain, 10, Drawn::Train,
         "Dense:(200,-60)(400,30)(9400,0):DurationMsec=[25005]", 0xBC4011BC625ED51A},
    };
    for (const auto& picture : pictures) {
        Stimulator stimulator;
        stimulator.pattern = picture.pattern;
        stimulator.timeStepUsec = picture.timeStepUsec;
        stimulator.budget = StimPattern::MaxWords;
        Report report(stimulator);
        ReportOn(picture.text, {}, Reading::Strict, report);
        ASSERT_TRUE(report.encoding.Encoded()) << picture.file;
        const std::string svg = SvgOf(PictureOf(report, picture.drawn));
        const std::uint64_t checksum = Checksum(svg);
        const std::string file = testing::TempDir() + picture.file;
        EXPECT_EQ(checksum, picture.checksum) << "not as it was: " << file << ", 0x" << std::hex << checksum;
        if (checksum != picture.checksum) std::ofstream(file, std::ios::binary) << svg;
    }
}

}  // namespace
