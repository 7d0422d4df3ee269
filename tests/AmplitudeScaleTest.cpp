#include <cmath>

#include "TestPatterns.h"

namespace {

TEST(AmplitudeScale, NearestAmplitudeIsAWholeNumberOfStepsButNeverNone)
{
    const std::tuple<float, float, float> rows[] = {
        {10, 14, 10},     {10, 15, 20},  {10, -14.9f, -10}, {10, -15, -20},   {10, 3, 10},
        {10, -0.1f, -10}, {10, 0, 0},    {10, 25, 30},      {10, 5000, 5000}, {0, 0, 0},
        {2.5f, -6, -5},   {10, NaN, 10}, {10, -Inf, -Inf},  {1, 1.5f, 2},     {1, -1, -1}};
    for (const auto& [step, amp, nearest] : rows)
        EXPECT_EQ(HostPattern({}, 1, step).NearestAmplitude(amp), nearest) << amp;
    EXPECT_TRUE(std::isnan(HostPattern({}, 1, 0).NearestAmplitude(5)));
}

TEST(AmplitudeScale, RescalingKeepsTheNumberOfSteps)
{
    const std::tuple<float, float, float, float> rows[] = {
        {1, 2, 3.4f, 6},   {1, 2, -2.5f, -6},   {1, 2, 2.5f, 6}, {1, 2, -2.4f, -4}, {1, 2, 50, 100},
        {1, 2, 600, 1000}, {1, 2, -600, -1000}, {0, 2, 50, 0},   {1, 2, NaN, 0},    {1, 1, 3e9f, 1000},
        {10, 5, 0.4f, 0},  {4, -1, 8, -2},      {1, 2, 0, 0}};
    for (const auto& [oldStep, newStep, amp, rescaled] : rows) {
        HostPattern p({{100, 0}, {100, amp}}, 1, oldStep);
        p.SetAmpStepSize(newStep, true);
        EXPECT_EQ(p.Phases(), (PhaseList{{100, 0}, {100, rescaled}})) << oldStep << ' ' << amp;
        EXPECT_EQ(p.AmpStepSize(), newStep);
    }
    HostPattern p(Listed("100,3.4 100,5000"));
    p.SetAmpStepSize(2, false);
    EXPECT_EQ(p.Phases(), Listed("100,3.4 100,5000"));
    EXPECT_EQ(p.AmpStepSize(), 2);
}

TEST(AmplitudeScale, LargestAmplitudeClampsThePhases)
{
    HostPattern p(Listed("1,500 2,-450 3,299 4,-300 5,0 6,nan"));
    p.SetAmpMax(-300);
    EXPECT_EQ(p.AmpMax(), 300);
    EXPECT_TRUE(std::isnan(p.PhaseAmp(5)));
    p.RemovePhase(5);
    EXPECT_EQ(p.Phases(), Listed("1,300 2,-300 3,299 4,-300 5,0"));
    p.SetAmpsToZero();
    EXPECT_EQ(p.Phases(), Listed("1,0 2,0 3,0 4,0 5,0"));
}

TEST(AmplitudeScale, ExtremesOfTheAmplitudes)
{
    const std::tuple<const char*, float, float, float, float> rows[] = {
        {"", -LargestFloat, LargestFloat, 0, 0},
        {"1,5 1,-5", 5, -5, -5, 5},
        {"1,-5 1,5 1,0", 5, -5, 5, -5},
        {"1,-7 1,5 1,7 1,-7 1,6", 7, -7, -7, -7},
        {"1,0 1,0", 0, 0, 0, 0},
        {"1,3 1,2", 3, 2, 3, 3},
        {"1,-3 1,-2", -2, -3, -3, -3},
        {"1,nan 1,2 1,nan", 2, 2, 2, 2},
        {"1,nan", -LargestFloat, LargestFloat, 0, 0}};
    for (const auto& [phases, positive, negative, absolute, firstAbsolute] : rows) {
        SCOPED_TRACE(phases);
        const HostPattern p(Listed(phases));
        for (const auto sign : {StimPattern::Positive, static_cast<StimPattern::Sign>(7)})
            EXPECT_EQ(p.MaxAmplitude(sign), positive);
        EXPECT_EQ(p.MaxAmplitude(StimPattern::Negative), negative);
        EXPECT_EQ(p.MaxAmplitude(StimPattern::Absolute), absolute);
        EXPECT_EQ((std::vector{p.MaxAmp(), p.MinAmp(), p.MaxAbsAmp()}),
                  (std::vector{positive, negative, firstAbsolute}));
    }
}

}  // namespace
