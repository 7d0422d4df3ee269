#include <cmath>

#include "TestPatterns.h"

namespace {

// For every request, the result of a setter equals that of the accessor, the period stays unless it may grow, and a
// pattern whose end phase can finish the last step has its words.
TEST(Lilly, RandomSettersHoldTheirPromises)
{
    struct Parameter
    {
        float (LillyPattern::*set)(float, bool);
        float (LillyPattern::*get)();
        float unit;
    };
    const Parameter parameters[] = {{&LillyPattern::SetOffset, &LillyPattern::Offset, 0.001f},
                                    {&LillyPattern::SetIPI, &LillyPattern::IPI, 1},
                                    {&LillyPattern::SetPhase1Len, &LillyPattern::Phase1Len, 1},
                                    {&LillyPattern::SetPhase2Len, &LillyPattern::Phase2Len, 1}};
    Random random(6);
    int taken = 0;
    for (int life = 0; life < 200; ++life) {
        LillyHost lilly(life % 2 == 0 ? 20 : ThirdStep);
        lilly.SetChargeBalanceMode(random.Below(5));
        for (int i = 0; i < 12; ++i) {
            const Parameter& parameter = parameters[random.Below(4)];
            const float request = 2000 * random.Fraction() * parameter.unit;
            const bool extend = random.Below(2) == 0;
            const float period = lilly.Period();
            const float result = (lilly.*parameter.set)(request, extend);
            ASSERT_EQ(result, (lilly.*parameter.get)());
            ASSERT_TRUE(extend || std::fabs(lilly.Period() - period) < 0.04f);
            taken += result == request ? 1 : 0;
            const float hz = lilly.SetFrequency(10 + request);
            ASSERT_EQ(hz, lilly.Frequency());
            lilly.SetPhase1Amp(2000 * random.Fraction() - 1000);
            ASSERT_TRUE(lilly.EndLen() < 40 || Array(lilly) != "refused")
                << testing::PrintToString(lilly.m_phases);
        }
    }
    EXPECT_GT(taken, 500);
}

}  // namespace
