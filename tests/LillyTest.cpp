#include <cmath>

#include "TestPatterns.h"

namespace {

const PhaseList Default = {{0, 0}, {100, -30}, {100, 0}, {100, 30}, {99700, 0}};

// The sums behind an end phase of 100 ms come out within a few hundredths of a microsecond.
void ExpectPhases(const LillyHost& lilly, const PhaseList& expected)
{
    ASSERT_EQ(lilly.m_phases.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_NEAR(lilly.m_phases[i].len, expected[i].len, i == 4 ? 0.02 : 1e-4) << "phase " << i;
        EXPECT_EQ(lilly.m_phases[i].amp, expected[i].amp) << "phase " << i;
    }
}

TEST(Lilly, NewPatternHoldsTheDefaults)
{
    LillyHost lilly(ThirdStep, 10, 101, 9);
    EXPECT_EQ(lilly.m_phases, Default);
    EXPECT_EQ(lilly.Period(), 100);
    EXPECT_EQ(lilly.TrainLength(), 1000);
    EXPECT_EQ(lilly.Offset(), 0);
    EXPECT_EQ(lilly.MaxOffset(), 99700 - 33.333332f);
    EXPECT_EQ(lilly.Phase1Len(), 100);
    EXPECT_EQ(lilly.Phase1Amp(), -30);
    EXPECT_EQ(lilly.IPI(), 100);
    EXPECT_EQ(lilly.Phase2Len(), 100);
    EXPECT_EQ(lilly.Phase2Amp(), 30);
    EXPECT_EQ(lilly.EndLen(), 99700);
    EXPECT_EQ(lilly.Polarity(), Stim::NegativeFirst);
    EXPECT_EQ(lilly.BalanceMode(), 9) << "kept as given";
    EXPECT_EQ(lilly.ChangeCount(), 0);
    EXPECT_TRUE(lilly.PhaseCountFixed());
    EXPECT_TRUE(lilly.AutoAdjustEnabled());
    EXPECT_EQ(lilly.m_autoAdjust, 7);
    lilly.m_autoAdjust = 0;
    EXPECT_FALSE(lilly.AutoAdjustEnabled());

    lilly.m_phases = {{5, 5}};
    lilly.m_roundCyclesDown = 0;
    lilly.SetCycleCount(3);
    lilly.Defaults();
    EXPECT_EQ(lilly.m_phases, Default);
    EXPECT_EQ(lilly.m_trainLengthUsec, 1000000);
    EXPECT_EQ(lilly.m_roundCyclesDown, 1);
    EXPECT_EQ(lilly.ChangeCount(), 8);
    EXPECT_EQ((*Array(lilly))[0], 10U);
}

TEST(Lilly, SettersKeepThePeriodAndReturnWhatIsInEffect)
{
    using Setter = std::function<float(LillyHost&)>;
    const float room = 100 + 99700 - 33.333332f;
    struct Row
    {
        const char* name;
        Setter set;
        float result;
        PhaseList after;
    };
    const Row rows[] = {
        {"phase 1",
         [](LillyHost& p) { return p.SetPhase1Len(150, false); },
         150,
         {{0, 0}, {150, -30}, {100, 0}, {100, 30}, {99650, 0}}},
        {"phase 1, negative",
         [](LillyHost& p) { return p.SetPhase1Len(-150, false); },
         0,
         {{0, 0}, {0, -30}, {100, 0}, {100, 30}, {99800, 0}}},
        {"phase 1, NaN", [](LillyHost& p) { return p.SetPhase1Len(NaN, true); }, 100, Default},
        {"phase 2",
         [](LillyHost& p) { return p.SetPhase2Len(50, true); },
         50,
         {{0, 0}, {100, -30}, {100, 0}, {50, 30}, {99750, 0}}},
        {"IPI",
         [](LillyHost& p) { return p.SetIPI(200, false); },
         200,
         {{0, 0}, {100, -30}, {200, 0}, {100, 30}, {99600, 0}}},
        {"IPI, negative",
         [](LillyHost& p) { return p.SetIPI(-5, false); },
         0,
         {{0, 0}, {100, -30}, {0, 0}, {100, 30}, {99800, 0}}},
        {"IPI, all the room",
         [=](LillyHost& p) { return p.SetIPI(room, false); },
         room,
         {{0, 0}, {100, -30}, {room, 0}, {100, 30}, {33.336f, 0}}},
        {"IPI, no room", [=](LillyHost& p) { return p.SetIPI(room + 0.01f, false); }, 100, Default},
        {"IPI, room made",
         [](LillyHost& p) { return p.SetIPI(100100, true); },
         100100,
         {{0, 0}, {100, -30}, {100100, 0}, {100, 30}, {33.336f, 0}}},
        {"offset",
         [](LillyHost& p) { return p.SetOffset(0.2f, false); },
         0.2f,
         {{200, 0}, {100, -30}, {100, 0}, {100, 30}, {99500, 0}}},
        {"offset, negative", [](LillyHost& p) { return p.SetOffset(-0.2f, true); }, 0, Default},
        {"offset, no room", [](LillyHost& p) { return p.SetOffset(99.7f, false); }, 0, Default},
        {"offset, room made",
         [](LillyHost& p) { return p.SetOffset(99.7f, true); },
         99.7f,
         {{99700, 0}, {100, -30}, {100, 0}, {100, 30}, {33.336f, 0}}},
        {"period",
         [](LillyHost& p) { return p.SetPeriod(50); },
         50,
         {{0, 0}, {100, -30}, {100, 0}, {100, 30}, {49700, 0}}},
        {"period, too short",
         [](LillyHost& p) { return p.SetPeriod(0.2f); },
         0.3f,
         {{0, 0}, {100, -30}, {100, 0}, {100, 30}, {0, 0}}},
        {"frequency",
         [](LillyHost& p) { return p.SetFrequency(20); },
         20,
         {{0, 0}, {100, -30}, {100, 0}, {100, 30}, {49700, 0}}},
        // Without an end phase the room is negative; only the offset takes a request below 0 for 0 there.
        {"IPI, far below 0",
         [](LillyHost& p) { return p.SetIPI(0, false), p.SetPeriod(0), p.SetIPI(-50, true); },
         0,
         {{0, 0}, {100, -30}, {0, 0}, {100, 30}, {0, 0}}},
        {"IPI, below 0",
         [](LillyHost& p) { return p.SetIPI(0, false), p.SetPeriod(0), p.SetIPI(-20, true); },
         0,
         {{0, 0}, {100, -30}, {0, 0}, {100, 30}, {13.3333f, 0}}},
        {"offset, below 0",
         [](LillyHost& p) { return p.SetPeriod(0), p.SetOffset(-0.05f, true); },
         0,
         {{0, 0}, {100, -30}, {100, 0}, {100, 30}, {33.3333f, 0}}},
        {"amplitudes",
         [](LillyHost& p) { return p.SetPhase1Amp(37), p.SetPhase2Amp(-14), p.Phase1Amp(); },
         40,
         {{0, 0}, {100, 40}, {100, 0}, {100, -10}, {99700, 0}}},
        {"amplitudes, too large",
         [](LillyHost& p) { return p.SetPhase1Amp(-2000), p.SetPhase2Amp(0), 0.0f; },
         0,
         {{0, 0}, {100, -1000}, {100, 0}, {100, 0}, {99700, 0}}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        LillyHost lilly;
        EXPECT_FLOAT_EQ(row.set(lilly), row.result);
        ExpectPhases(lilly, row.after);
    }
}

TEST(Lilly, TrainIsNeverShorterThanThePeriod)
{
    LillyHost lilly;
    EXPECT_EQ(lilly.SetPeriod(1000), 1000);
    EXPECT_EQ(lilly.ChangeCount(), 1);
    EXPECT_EQ(lilly.SetPeriod(2000), 2000);
    EXPECT_EQ(lilly.TrainLength(), 2000);
    EXPECT_EQ(lilly.ChangeCount(), 3);
    lilly.SetPeriod(50);
    EXPECT_EQ(lilly.TrainLength(), 2000);
}

TEST(Lilly, PolarityExchangesThePulses)
{
    LillyHost lilly;
    lilly.SetPhase2Len(200, false);
    const PhaseList turned = {{0, 0}, {200, 30}, {100, 0}, {100, -30}, {99600, 0}};
    for (const Stim::Polarity polarity : {static_cast<Stim::Polarity>(2), Stim::NegativeFirst}) {
        lilly.SetPolarity(polarity);
        EXPECT_EQ(lilly.Phase1Amp(), -30);
    }
    for (const Stim::Polarity polarity :
         {Stim::PositiveFirst, Stim::PositiveFirst, static_cast<Stim::Polarity>(2)}) {
        lilly.SetPolarity(polarity);
        EXPECT_EQ(lilly.m_phases, turned);
        EXPECT_EQ(lilly.Polarity(), Stim::PositiveFirst);
    }
    lilly.SetPolarity(Stim::NegativeFirst);
    EXPECT_EQ(lilly.m_phases, (PhaseList{{0, 0}, {100, -30}, {100, 0}, {200, 30}, {99600, 0}}));

    lilly.m_phases[1].amp = 0;
    const PhaseList silent = lilly.m_phases;
    lilly.SetPolarity(Stim::NegativeFirst);
    lilly.SetPolarity(Stim::PositiveFirst);
    EXPECT_EQ(lilly.m_phases, silent);
    EXPECT_EQ(lilly.Polarity(), Stim::PositiveFirst);
    lilly.m_phases = {{0, 0}, {100, -30}};
    lilly.SetPolarity(Stim::PositiveFirst);
    EXPECT_EQ(lilly.m_phases, (PhaseList{{0, 0}, {100, -30}}));
}

TEST(Lilly, BalanceModeRebuildsPhase2)
{
    struct Row
    {
        int mode;
        int inEffect;
        phase second;
        int multiplier;
    };
    const Row rows[] = {
        {1, 1, {100, 30}, 1}, {2, 2, {150, 20}, 0},  {3, 3, {300, 10}, 0}, {4, 4, {300, 10}, 0},
        {5, 0, {100, 30}, 0}, {-1, 0, {100, 30}, 0}, {0, 0, {100, 30}, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.mode);
        LillyHost lilly;
        lilly.SetChargeBalanceMode(row.mode);
        ExpectPhases(lilly, {{0, 0}, {100, -30}, {100, 0}, row.second, {99800 - row.second.len, 0}});
        EXPECT_EQ(lilly.BalanceMode(), row.inEffect);
        EXPECT_EQ(lilly.BalanceEnabled(), row.inEffect != 0);
        EXPECT_EQ(lilly.ChargeBalMult(), row.multiplier);

        lilly.m_phases[3] = {7, 7};
        lilly.SetChargeBalanceMode(row.mode);
        lilly.SetChargeBalanceMode(0);
        EXPECT_EQ(lilly.m_phases[3], (phase{7, 7})) << "neither the mode in effect nor 0 balances";
        EXPECT_EQ(lilly.BalanceMode(), 0);
    }
}

TEST(Lilly, Phase2FollowsPhase1WhileBalanced)
{
    using Setter = std::function<float(LillyHost&)>;
    struct Row
    {
        const char* name;
        Setter set;
        float result;
        PhaseList after;
    };
    const PhaseList balanced = {{0, 0}, {100, -30}, {100, 0}, {150, 20}, {99650, 0}};
    const Row rows[] = {
        {"phase 1",
         [](LillyHost& p) { return p.SetPhase1Len(1000, false); },
         1000,
         {{0, 0}, {1000, -30}, {100, 0}, {1500, 20}, {97400, 0}}},
        {"phase 1, negative",
         [](LillyHost& p) { return p.SetPhase1Len(-1, false); },
         0,
         {{0, 0}, {0, -30}, {100, 0}, {0, 20}, {99900, 0}}},
        {"phase 1, no room", [](LillyHost& p) { return p.SetPhase1Len(60000, false); }, 100, balanced},
        {"phase 1, room made",
         [](LillyHost& p) { return p.SetPhase1Len(60000, true); },
         60000,
         {{0, 0}, {60000, -30}, {100, 0}, {90000, 20}, {33.3333f, 0}}},
        {"amplitude 1",
         [](LillyHost& p) { return p.SetPhase1Amp(84), p.Phase2Amp(); },
         -40,
         {{0, 0}, {100, 80}, {100, 0}, {200, -40}, {99600, 0}}},
        {"amplitude 1, none",
         [](LillyHost& p) { return p.SetPhase1Amp(0), p.Phase2Amp(); },
         0,
         {{0, 0}, {100, 0}, {100, 0}, {200, 0}, {99600, 0}}},
        {"phase 2", [](LillyHost& p) { return p.SetPhase2Len(500, true); }, 150, balanced},
        {"amplitude 2", [](LillyHost& p) { return p.SetPhase2Amp(50), p.Phase2Amp(); }, 20, balanced},
        {"offset counts",
         [](LillyHost& p) { return p.SetOffset(90, false), p.SetPhase1Len(5000, false); },
         100,
         {{90000, 0}, {100, -30}, {100, 0}, {150, 20}, {9650, 0}}},
        {"another mode",
         [](LillyHost& p) {
             p.BalancePhases(7, LillyPattern::Phase1, LillyPattern::Len, 200, false);
             return p.Phase2Len();
         },
         200,
         {{0, 0}, {200, -30}, {100, 0}, {200, 30}, {99500, 0}}},
        {"an amplitude of phase 1",
         [](LillyHost& p) {
             p.BalancePhases(4, LillyPattern::Phase1, LillyPattern::Amp, 161, false);
             return p.Phase2Len();
         },
         800,
         {{0, 0}, {100, 160}, {100, 0}, {800, -20}, {99000, 0}}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        LillyHost lilly;
        lilly.SetChargeBalanceMode(2);
        EXPECT_EQ(row.set(lilly), row.result);
        ExpectPhases(lilly, row.after);
    }
}

TEST(Lilly, PairThatFillsThePeriodToItsMinimumEndFits)
{
    LillyHost lilly(ThirdStep, 10, 101, 1);
    const float limit = lilly.Period() * 1000 - 33.333332f;
    const float fits = (limit - 100) / 2;
    ASSERT_EQ(fits + 100 + fits, limit);
    EXPECT_EQ(lilly.SetPhase1Len(fits, false), fits);
    EXPECT_NEAR(lilly.EndLen(), 33.333332, 0.02);
    EXPECT_EQ(lilly.SetPhase1Len(fits + 0.01f, false), fits);
}

// Whatever is asked, the result is what the accessor then says, the period is kept unless it may grow, and
// a pattern with an end phase to finish the last step in has its words.
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
            ASSERT_TRUE(lilly.EndLen() < 40 || Array(lilly)) << testing::PrintToString(lilly.m_phases);
        }
    }
    EXPECT_GT(taken, 500);
}

TEST(Lilly, TextHoldsTheBalanceMode)
{
    const std::string start = "h:(0,0)(100,-30)(100,0)(100,30)(9700,0):DurationMsec=[500]";
    struct Row
    {
        std::string end;
        bool taken;
        int mode;
    };
    const Row rows[] = {
        {"", true, 3},
        {":", true, 3},
        {":ChargeBalanceIdx=[2]", true, 2},
        {":x[2", true, 2},
        {":x[ 2]]:x[1]", true, 2},
        {":x[7]", true, 4},
        {":x[99999999999]", true, 4},
        {":x[-1]", true, 3},
        {":x[-99999999999]", true, 3},
        {":x[abc]", true, 0},
        {":x[]", true, 0},
        {":x[1.9]", true, 1},
        {":x[+4x]", true, 4},
        {":ChargeBalanceIdx=2", false, 3},
        {":[2]", false, 3},
        {":x[2[", true, 2},
        {":x[2[1]", false, 3},
        {":" + std::string(3000, 'x'), false, 3},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.end);
        LillyHost lilly(ThirdStep, 10, 101, 3);
        Texts errors, warnings;
        EXPECT_EQ(lilly.FromString(start + row.end, 10, errors, warnings), row.taken);
        const Texts fault = {"invalid charge balance specification string [" +
                             row.end.substr(row.end.empty() ? 0 : 1) + "]."};
        EXPECT_EQ(errors, row.taken ? Texts() : fault);
        EXPECT_EQ(lilly.BalanceMode(), row.mode);
        EXPECT_EQ(lilly.TrainLength(), 500);
        EXPECT_NEAR(lilly.Period(), 10, 1e-4);
        EXPECT_EQ(lilly.Phase2Len(), row.mode == 2 ? 150 : row.mode == 4 ? 300 : 100);
    }
    LillyHost lilly;
    Texts errors, warnings;
    EXPECT_FALSE(lilly.FromString("h:(100):x[1]:x[2]", 10, errors, warnings));
    EXPECT_EQ(lilly.BalanceMode(), 0);
    EXPECT_EQ(lilly.m_phases, Default);
    lilly.SetChargeBalanceMode(1);
    const std::string text = lilly.ToString();
    EXPECT_EQ(text,
              "(0.000000,0.000000)(100.000000,-30.000000)(100.000000,0.000000)(100.000000,30.000000)"
              "(99700.000000,0.000000):DurationMsec=[1000.000000]:ChargeBalanceIdx=[1]");
    LillyHost copy;
    EXPECT_TRUE(copy.FromString("h:" + text, 10, errors, warnings));
    EXPECT_EQ(copy.ToString(), text);
}

}  // namespace
