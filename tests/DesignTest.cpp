#include "Design.h"

#include <gtest/gtest.h>

#include <cmath>

#include "Advice.h"
#include "Sequence.h"
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
        for (int k = 0; k < 60; ++k) {
            // The smallest counts, the largest that are promised, and from all magnitudes between them.
            request.pulses = k < 20   ? k + 1
                             : k < 30 ? 100000 - (k - 20)
                                      : std::lround(std::pow(1e5, k / 60.0));
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

}  // namespace
