#include <cmath>

#include "TestPatterns.h"

namespace {

const char* const Default = "0,0 100,-30 100,0 100,30 99700,0";

// The sums behind an end phase of 100 ms come out within a few hundredths of a microsecond.
void ExpectPhases(const LillyHost& lilly, const char* text)
{
    const PhaseList expected = Listed(text);
    ASSERT_EQ(lilly.m_phases.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_NEAR(lilly.m_phases[i].len, expected[i].len, i == 4 ? 0.02 : 1e-4) << "phase " << i;
        EXPECT_EQ(lilly.m_phases[i].amp, expected[i].amp) << "phase " << i;
    }
}

TEST(Lilly, NewPatternHoldsTheDefaults)
{
    LillyHost lilly(ThirdStep, 10, 101, 9);
    EXPECT_EQ(lilly.m_phases, Listed(Default));
    EXPECT_EQ(lilly.TrainLength(), 1000);
    EXPECT_EQ(lilly.Polarity(), Stim::NegativeFirst);
    EXPECT_EQ((std::vector{lilly.BalanceMode(), lilly.m_autoAdjust, lilly.ChangeCount()}),
              (std::vector{9, 7, 0}));
    EXPECT_TRUE(lilly.PhaseCountFixed() && lilly.AutoAdjustEnabled());
    lilly.m_autoAdjust = 0;
    EXPECT_FALSE(lilly.AutoAdjustEnabled());

    lilly.m_phases = Listed("5,5");
    lilly.m_roundCyclesDown = 0;
    lilly.SetCycleCount(3);
    lilly.Defaults();
    EXPECT_EQ(lilly.m_phases, Listed(Default));
    EXPECT_EQ(lilly.TrainLength(), 1000);
    EXPECT_EQ((std::vector{lilly.m_roundCyclesDown, lilly.ChangeCount()}), (std::vector{1, 8}));

    lilly.m_phases = Listed("1000,1 2000,-2 3000,3 4000,4 5000,5");
    EXPECT_EQ((std::vector{lilly.Offset(), lilly.IPI(), lilly.EndLen(), lilly.MaxOffset()}),
              (std::vector<float>{1, 3000, 5000, 6000 - 33.333332f}));
    EXPECT_EQ((std::vector{lilly.Phase1Len(), lilly.Phase1Amp(), lilly.Phase2Len(), lilly.Phase2Amp()}),
              (std::vector<float>{2000, -2, 4000, 4}));
}

struct SetterRow
{
    std::function<float(LillyHost&)> set;
    float result;
    const char* after;
};

void ExpectSetter(const SetterRow& row, int balanceMode)
{
    LillyHost lilly;
    lilly.SetChargeBalanceMode(balanceMode);
    SCOPED_TRACE(row.after);
    EXPECT_FLOAT_EQ(row.set(lilly), row.result);
    ExpectPhases(lilly, row.after);
}

TEST(Lilly, SettersKeepThePeriodAndReturnWhatIsInEffect)
{
    const float room = 100 + 99700 - 33.333332f;
    const SetterRow rows[] = {
        {[](auto& p) { return p.SetPhase1Len(150, false); }, 150, "0,0 150,-30 100,0 100,30 99650,0"},
        {[](auto& p) { return p.SetPhase1Len(-150, false); }, 0, "0,0 0,-30 100,0 100,30 99800,0"},
        {[](auto& p) { return p.SetPhase1Len(NaN, true); }, 100, Default},
        {[](auto& p) { return p.SetPhase2Len(50, true); }, 50, "0,0 100,-30 100,0 50,30 99750,0"},
        {[](auto& p) { return p.SetIPI(200, false); }, 200, "0,0 100,-30 200,0 100,30 99600,0"},
        {[](auto& p) { return p.SetIPI(-5, false); }, 0, "0,0 100,-30 0,0 100,30 99800,0"},
        {[=](auto& p) { return p.SetIPI(room, false); }, room, "0,0 100,-30 99766.664,0 100,30 33.336,0"},
        {[=](auto& p) { return p.SetIPI(room + 0.01f, false); }, 100, Default},
        {[=](auto& p) { return p.SetIPI(room, true), static_cast<float>(p.ChangeCount()); }, 2,
         "0,0 100,-30 99766.664,0 100,30 33.336,0"},
        {[](auto& p) { return p.SetIPI(100100, true); }, 100100, "0,0 100,-30 100100,0 100,30 33.336,0"},
        {[](auto& p) { return p.SetOffset(0.2f, false); }, 0.2f, "200,0 100,-30 100,0 100,30 99500,0"},
        {[](auto& p) { return p.SetOffset(-0.2f, true); }, 0, Default},
        {[](auto& p) { return p.SetOffset(99.7f, false); }, 0, Default},
        {[](auto& p) { return p.SetOffset(99.7f, true); }, 99.7f, "99700,0 100,-30 100,0 100,30 33.336,0"},
        {[](auto& p) { return p.SetPeriod(50); }, 50, "0,0 100,-30 100,0 100,30 49700,0"},
        {[](auto& p) { return p.SetPeriod(0.2f); }, 0.3f, "0,0 100,-30 100,0 100,30 0,0"},
        {[](auto& p) { return p.SetFrequency(20); }, 20, "0,0 100,-30 100,0 100,30 49700,0"},
        {[](auto& p) { return p.SetPhase1Amp(37), p.Phase1Amp(); }, 40, "0,0 100,40 100,0 100,30 99700,0"},
        {[](auto& p) { return p.SetPhase2Amp(-14), p.Phase2Amp(); }, -10,
         "0,0 100,-30 100,0 100,-10 99700,0"},
        {[](auto& p) { return p.SetPhase1Amp(-2000), 0.0f; }, 0, "0,0 100,-1000 100,0 100,30 99700,0"},
        // Without an end phase the room is negative; only the offset takes a request below 0 for 0 there.
        {[](auto& p) { return p.SetPeriod(0), p.SetIPI(-50, true); }, 0, "0,0 100,-30 0,0 100,30 100,0"},
        {[](auto& p) { return p.SetIPI(0, 0), p.SetPeriod(0), p.SetIPI(-50, true); }, 0,
         "0,0 100,-30 0,0 100,30 0,0"},
        {[](auto& p) { return p.SetIPI(0, 0), p.SetPeriod(0), p.SetIPI(-20, true); }, 0,
         "0,0 100,-30 0,0 100,30 13.3333,0"},
        {[](auto& p) { return p.SetPeriod(0), p.SetOffset(-0.05f, true); }, 0,
         "0,0 100,-30 100,0 100,30 33.3333,0"},
    };
    for (const auto& row : rows) ExpectSetter(row, 0);
}

TEST(Lilly, Phase2FollowsPhase1WhileBalanced)
{
    const auto balance = [](int mode, LillyPattern::PhaseParam param, float value) {
        return [=](LillyHost& p) {
            p.BalancePhases(mode, LillyPattern::Phase1, param, value, false);
            return p.Phase2Len();
        };
    };
    const SetterRow rows[] = {
        {[](auto& p) { return p.SetPhase1Len(1000, false); }, 1000, "0,0 1000,-30 100,0 1500,20 97400,0"},
        {[](auto& p) { return p.SetPhase1Len(-1, false); }, 0, "0,0 0,-30 100,0 0,20 99900,0"},
        {[](auto& p) { return p.SetPhase1Len(60000, false); }, 100, "0,0 100,-30 100,0 150,20 99650,0"},
        {[](auto& p) { return p.SetPhase1Len(60000, true); }, 60000,
         "0,0 60000,-30 100,0 90000,20 33.3333,0"},
        {[](auto& p) { return p.SetPhase1Amp(84), p.Phase2Amp(); }, -40, "0,0 100,80 100,0 200,-40 99600,0"},
        {[](auto& p) { return p.SetPhase1Amp(0), p.Phase2Amp(); }, 0, "0,0 100,0 100,0 200,0 99600,0"},
        {[](auto& p) { return p.SetPhase2Len(500, true); }, 150, "0,0 100,-30 100,0 150,20 99650,0"},
        {[](auto& p) { return p.SetPhase2Amp(50), p.Phase2Amp(); }, 20, "0,0 100,-30 100,0 150,20 99650,0"},
        // Three edits of the mode, and three that write the phases back and set the period again.
        {[](auto& p) { return p.SetPhase2Amp(9), static_cast<float>(p.ChangeCount()); }, 6,
         "0,0 100,-30 100,0 150,20 99650,0"},
        {[](auto& p) { return p.SetPhase2Len(9, 0), static_cast<float>(p.ChangeCount()); }, 6,
         "0,0 100,-30 100,0 150,20 99650,0"},
        {[](auto& p) { return p.SetOffset(90, 0), p.SetPhase1Len(5000, 0); }, 100,
         "90000,0 100,-30 100,0 150,20 9650,0"},
        {balance(7, LillyPattern::Len, 200), 200, "0,0 200,-30 100,0 200,30 99500,0"},
        {[](auto& p) { return p.SetPeriod(0), p.SetPhase2Len(9, true); }, 150,
         "0,0 100,-30 100,0 150,20 0,0"},
        {[](auto& p) { return p.SetPeriod(0), p.SetPhase2Amp(9), p.IPI(); }, 100,
         "0,0 100,-30 100,0 150,20 0,0"},
        {balance(3, LillyPattern::Amp, 161), 400, "0,0 100,160 100,0 400,-40 99400,0"},
        {balance(4, LillyPattern::Amp, 161), 800, "0,0 100,160 100,0 800,-20 99000,0"},
    };
    for (const auto& row : rows) ExpectSetter(row, 2);
}

TEST(Lilly, BalanceModeRebuildsPhase2)
{
    const char* const afterMode[] = {Default, Default, "0,0 100,-30 100,0 150,20 99650,0",
                                     "0,0 100,-30 100,0 300,10 99500,0", "0,0 100,-30 100,0 300,10 99500,0"};
    for (const int mode : {0, 1, 2, 3, 4, 5, -1}) {
        SCOPED_TRACE(mode);
        const int inEffect = mode < 0 || mode > 4 ? 0 : mode;
        LillyHost lilly;
        lilly.SetChargeBalanceMode(mode);
        ExpectPhases(lilly, afterMode[inEffect]);
        EXPECT_EQ(lilly.BalanceMode(), inEffect);
        EXPECT_EQ(lilly.BalanceEnabled(), inEffect != 0);
        EXPECT_EQ(lilly.ChargeBalMult(), inEffect == 1 ? 1 : 0);

        lilly.m_phases[3] = {7, 7};
        lilly.SetChargeBalanceMode(mode);
        lilly.SetChargeBalanceMode(0);
        EXPECT_EQ(lilly.m_phases[3], (phase{7, 7})) << "neither the mode in effect nor 0 balances";
        EXPECT_EQ(lilly.BalanceMode(), 0);
    }
}

TEST(Lilly, TrainIsNeverShorterThanThePeriod)
{
    LillyHost lilly;
    const std::vector<float> rows[] = {{1000, 1000, 1}, {2000, 2000, 3}, {50, 2000, 4}};
    for (const auto& row : rows) {
        EXPECT_EQ(lilly.SetPeriod(row[0]), row[0]);
        EXPECT_EQ(lilly.TrainLength(), row[1]);
        EXPECT_EQ(lilly.ChangeCount(), row[2]);
    }
    // A period longer than the train by less than milliseconds tell apart.
    lilly.m_trainLengthUsec = 128000.0078f;
    lilly.SetPeriod(128.0000153f);
    EXPECT_GT(lilly.PeriodUsec(), lilly.m_trainLengthUsec);
}

void ExpectPolarity(int polarity, const std::string& table)
{
    for (const auto& [before, after] : Cases(table)) {
        LillyHost lilly(50);
        lilly.m_phases = Listed(before);
        lilly.SetPolarity(static_cast<Stim::Polarity>(polarity));
        EXPECT_EQ(lilly.m_phases, Listed(after));
        EXPECT_EQ(lilly.Polarity(), lilly.m_phases[1].amp < 0 ? Stim::NegativeFirst : Stim::PositiveFirst);
    }
}

TEST(Lilly, PolarityExchangesThePulses)
{
    ExpectPolarity(Stim::PositiveFirst,
                   "0,0 50,-30 100,0 100,15 750,0 = 0,0 100,15 100,0 50,-30 750,0 | "
                   "0,0 50,30 100,0 100,-15 750,0 = 0,0 50,30 100,0 100,-15 750,0 | "
                   "0,0 50,0 100,0 100,15 750,0 = 0,0 50,0 100,0 100,15 750,0 | 0,0 50,-30 = 0,0 50,-30");
    ExpectPolarity(Stim::NegativeFirst,
                   "0,0 50,30 100,0 100,-15 750,0 = 0,0 100,-15 100,0 50,30 750,0 | "
                   "0,0 50,-30 100,0 100,15 750,0 = 0,0 50,-30 100,0 100,15 750,0 | "
                   "0,0 50,0 100,0 100,15 750,0 = 0,0 50,0 100,0 100,15 750,0");
    ExpectPolarity(2,
                   "0,0 50,30 100,0 100,-15 750,0 = 0,0 50,30 100,0 100,-15 750,0 | "
                   "0,0 50,-30 100,0 100,15 750,0 = 0,0 50,-30 100,0 100,15 750,0");
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
            ASSERT_TRUE(lilly.EndLen() < 40 || Array(lilly) != "refused")
                << testing::PrintToString(lilly.m_phases);
        }
    }
    EXPECT_GT(taken, 500);
}

TEST(Lilly, TextHoldsTheBalanceMode)
{
    const std::string start = "h:(0,0)(100,-30)(100,0)(100,30)(9700,0):DurationMsec=[500]";
    for (const auto& [field, mode] :
         Cases(" = 3 | ChargeBalanceIdx=[2] = 2 | x[ 2]]:x[1] = 2 | x[7] = 4 | x[99999999999] = 4 | "
               "x[-1] = 3 | x[-99999999999] = 3 | x[abc] = 0 | x[] = 0 | x[1.9] = 1 | x[+4x = 4 | "
               "x[2[ = 2 | ChargeBalanceIdx=2 = fault | [2] = fault | x[2[1] = fault")) {
        SCOPED_TRACE(field);
        LillyHost lilly(ThirdStep, 10, 101, 3);
        Texts errors, warnings;
        const bool taken = lilly.FromString(start + ":" + field, 10, errors, warnings);
        const Texts fault = {"invalid charge balance specification string [" + field + "]."};
        EXPECT_EQ(errors, taken ? Texts() : fault);
        EXPECT_EQ(std::to_string(lilly.BalanceMode()), taken ? mode : "3");
        EXPECT_EQ(taken, mode != "fault");
        EXPECT_EQ(lilly.TrainLength(), 500);
        EXPECT_EQ(lilly.Phase2Len(), mode == "2" ? 150 : mode == "4" ? 300 : 100);
    }
    LillyHost lilly, copy;
    Texts errors, warnings;
    EXPECT_FALSE(lilly.FromString("h:(100):x[1]:x[2]", 10, errors, warnings));
    EXPECT_EQ(lilly.BalanceMode(), 0);
    EXPECT_EQ(lilly.m_phases, Listed(Default));
    lilly.SetChargeBalanceMode(1);
    const std::string text =
        "(0.000000,0.000000)(100.000000,-30.000000)(100.000000,0.000000)(100.000000,30.000000)"
        "(99700.000000,0.000000):DurationMsec=[1000.000000]:ChargeBalanceIdx=[1]";
    EXPECT_EQ(lilly.ToString(), text);
    EXPECT_TRUE(copy.FromString("h:" + text, 10, errors, warnings));
    EXPECT_EQ(copy.ToString(), text);
}

}  // namespace
