#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <map>

#include "Playback.h"
#include "TestPatterns.h"

// Plays back random patterns that encode, most of them near the thresholds of the cutting, and compares what is played
// with the bounds of docs/accuracy.md. TARVUTIL_ACCURACY_PATTERNS sets the number of patterns; when it is set, the worst
// cases found are printed.

namespace {

struct Range
{
    double low = 0, high = 0;

    bool Contains(double value) const { return value >= low && value <= high; }
    Range Widened(double by) const { return {low - by, high + by}; }
};

// The bounds by their names in docs/accuracy.md: played minus asked, microseconds, on a time step T; without
// the roundings of single precision.
struct Bounds
{
    double T;
    bool near = false;   // validation and writer can decide differently
    bool large = false;  // a split point can be above 31 us

    double Longest() const { return 0.985 * T; }
    bool Carries() const { return Longest() > 0.5; }

    double Drop() const { return std::min(0.5, Longest()); }
    double Up() const { return 0.015 * T; }
    double Short() const { return near ? T - std::max(std::floor(T), 0.5) : 0; }
    double Cut() const { return Carries() ? std::min(1.0, Longest()) : 0; }
    double Tail() const { return Carries() ? T - 0.5 : Up(); }
    double Early() const { return near || large ? Longest() : Cut(); }
    double Late() const { return large ? T - 32 : 0; }
    double Longer() const { return large ? 2 * std::floor(Longest() / 512) * T : 0; }
    double Gain(int i) const
    {
        const int pairs = i / 2;
        return std::max(i * Up(), pairs * Short() + i % 2 * Up());
    }

    Range Boundary(int i) const
    {
        const double low = i == 0 ? 0 : (i - 1) * Drop() + std::max(Drop(), Early());
        return {-low, Gain(i) + Late() + i * Longer()};
    }
    Range Length() const
    {
        return {-std::max(Drop(), Early()) - Late(),
                Early() + std::max({Up(), Short(), Late() + Longer()}) + Longer()};
    }
    Range Period(int n) const { return {-n * Drop(), Gain(n - 1) + Tail() + n * Longer()}; }
};

Range AmplitudeLost(double askedUa, double ampStep)
{
    return Range{0, std::max(ampStep, std::fabs(askedUa) - 100 * ampStep)}.Widened(std::ldexp(ampStep, -17));
}

double Rounding(double lenUsec, double T)
{
    return std::ldexp(lenUsec + T, -22);
}

// Cuts the list without rounding, and looks for what decides which bounds hold.
Bounds BoundsOf(const PhaseList& phases, double T)
{
    Bounds bounds{T};
    if (!bounds.Carries()) return bounds;
    const double longest = bounds.Longest();
    const double lastStart = T == std::floor(T) ? longest : T - 0.5;
    double carried = 0, rounding = 0;
    for (const phase& p : phases) {
        const double time = carried + p.len;
        const double left = std::fmod(time, T);
        rounding += Rounding(p.len, T);
        for (const double threshold : {0.5, longest, lastStart})
            if (std::fabs(left - threshold) <= rounding) bounds.near = true;
        if (carried > 0 && time < longest) bounds.near = true;
        carried = left > 0.5 && left < longest ? left : 0;
        if (carried >= 32 - rounding) bounds.large = true;
    }
    if (bounds.near && longest >= 32) bounds.large = true;
    return bounds;
}

// Random lists, most of whose leftovers are aimed at one threshold. No two phases of a list can be played at
// the same current, so that each is found in what was played.
class ListMaker
{
 public:
    ListMaker(Random& random, double T, double ampStep, bool wholeUsec = false)
        : m_random(random), m_wholeUsec(wholeUsec), m_T(T), m_ampStep(ampStep)
    {}

    PhaseList Plain()
    {
        PhaseList phases(static_cast<std::size_t>(m_random.Between(1, m_random.Below(8) == 0 ? 32 : 10)));
        bool active = false;
        for (phase& p : phases) {
            active = Chance(!active || m_carried == 0 || m_nearThreshold ? 0.6 : 0.05);
            p = {Length(), active ? (Chance(0.5) ? 1.0f : -1.0f) * Magnitude() : 0};
        }
        return phases;
    }

    // Every third length is any up to two steps, so that many of these lists need repair.
    PhaseList Lilly()
    {
        PhaseList phases;
        for (const float sign : {0.0f, -1.0f, 0.0f, 1.0f, 0.0f}) {
            const float len = Chance(0.3) ? static_cast<float>(Upto(2 * m_T)) : Length();
            phases.push_back({len, sign * Magnitude()});
        }
        phases.back().len += static_cast<float>(4 * m_T);
        return phases;
    }

 private:
    static constexpr int AboveThreshold = 0, ShortOfStep = 4, Aims = 7;  // of the leftovers below
    static constexpr int Slots = 34;

    bool Chance(double probability) { return m_random.Fraction() < probability; }
    double Upto(double high) { return high * m_random.Fraction(); }

    double Leftover(int aim)
    {
        const double longest = 0.985 * m_T;
        const double whole = std::floor(m_T);
        const bool atLongest = m_pure ? m_mood == AboveThreshold : Chance(0.5);
        const double threshold = atLongest ? longest : 0.5;
        const double beside = !m_pure && Chance(0.3) ? 0 : std::pow(10, -2 - Upto(m_pure ? 1 : 5));
        const double belowWholeUsec = std::min(std::ceil(Upto(m_T)), longest) - 1e-4;
        const double largeSplit = std::min(32 + Upto(m_T), longest - 1e-4);
        const double shortOfStep = whole + Upto(m_T - whole);
        const std::array<double, Aims> leftovers{
            threshold + beside, threshold - beside, belowWholeUsec, largeSplit, shortOfStep, 0, Upto(m_T)};
        return leftovers[static_cast<std::size_t>(aim)];
    }

    float Length()
    {
        const int aim = m_pure || Chance(0.8) ? m_mood : m_random.Below(Aims);
        double steps = m_random.Below(4) + (m_carried > 0 && aim != ShortOfStep ? 1 : 0);
        if (Chance(0.01)) steps += std::floor(std::pow(10, 1 + Upto(5)) / m_T);
        double len = Chance(0.02) ? 0 : steps * m_T + Leftover(aim) - m_carried;
        if (len < 0) len += m_T;
        if (m_wholeUsec) len = std::round(len);
        const double left = std::fmod(m_carried + len, m_T);
        m_nearThreshold = std::min(std::fabs(left - 0.5), std::fabs(left - 0.985 * m_T)) < 1e-4;
        m_carried = left > 0.5 && left < 0.985 * m_T ? left : 0;
        return static_cast<float>(len);
    }

    // Three whole steps apart; the last slot lies above the ceiling, and one in ten is below a step.
    float Magnitude()
    {
        const double part = Chance(0.3) ? 0 : Chance(0.3) ? 0.9999 : Upto(1);
        if (Chance(0.1)) return static_cast<float>(part * m_ampStep);
        m_slot = (m_slot + 1) % Slots;
        const double steps = m_slot == Slots - 1 ? 100 + Upto(100) : 2 + 3 * m_slot;
        return static_cast<float>((steps + part) * m_ampStep);
    }

    Random& m_random;
    const bool m_wholeUsec;
    const double m_T, m_ampStep;
    const int m_mood = m_random.Below(Aims);
    const bool m_pure = Chance(0.3);  // every phase in the same mood: what adds along the list does
    int m_slot = m_random.Below(Slots);
    double m_carried = 0;
    bool m_nearThreshold = false;
};

constexpr std::array<float, 10> TimeSteps{0.5f, 0.9f, 1, 10.9f, 20, ThirdStep, 40.6f, 50, 100, 1000};
constexpr std::array<float, 6> AmpSteps{0.1f, 0.3f, 1, 3.3f, 7.5f, 10};

// The worst found on one time step, of each quantity: played less, and played more than asked.
struct Worst
{
    double error = 0, bound = 0;  // the largest, and its bound
    double share = 0;             // the largest part of a bound that an error reached
};

struct Tally
{
    int patterns = 0;
    std::map<std::string, std::array<Worst, 2>> worst;
};

// What was played of one phase.
struct Played
{
    double startUsec = 0, endUsec = 0;
    double timeUsec = 0;  // at the phase's current; 0 when nothing of it was played
    double currentUa = 0;
};

// One pattern, as asked and as played.
struct Comparison
{
    const PhaseList& asked;
    const Words& words;
    const playback::Scale scale;
    const Bounds bounds = BoundsOf(asked, scale.timeStepUsec);
    const std::vector<playback::Segment> segments = playback::Segments(words, scale);
    std::vector<double> start{0};     // of each phase, as asked; after the last the period
    std::vector<double> rounding{0};  // that the bound of this start allows
    std::vector<Played> played{};

    void HoldTo(Tally& tally)
    {
        ++tally.patterns;
        for (const phase& p : asked) {
            start.push_back(start.back() + p.len);
            rounding.push_back(rounding.back() + Rounding(p.len, scale.timeStepUsec));
            played.push_back(Find(p));
        }
        Range charge;
        double chargeUnrounded = 0, currentUsec = 0;
        for (std::size_t i = 0; i < asked.size(); ++i) {
            const double current = HoldPhase(tally, i);
            const Range length = bounds.Length().Widened(rounding[i + 1] - rounding[i]);
            charge.low += std::min(current * length.low, current * length.high);
            charge.high += std::max(current * length.low, current * length.high);
            chargeUnrounded += current * asked[i].len;
            currentUsec += played[i].timeUsec;
        }
        Hold(tally, "net charge", 1000 * playback::ChargeOf(words, scale).NetNc() - chargeUnrounded, charge,
             0);
        Hold(tally, "period", playback::PeriodUsec(words, scale) - start.back(),
             bounds.Period(static_cast<int>(asked.size())), rounding.back());
        for (const playback::Segment& segment : segments)
            if (segment.kind == playback::Kind::Current) currentUsec -= segment.durationUsec;
        Hold(tally, "current that no phase asked for", currentUsec, Range{-1e-6, 1e-6}, rounding.back());
    }

    Played Find(const phase& p) const
    {
        Played found;
        for (const playback::Segment& segment : segments) {
            const double lost = std::fabs(p.amp) - std::fabs(segment.currentUa);
            if (segment.currentUa * p.amp <= 0 || !AmplitudeLost(p.amp, scale.ampStepUa).Contains(lost))
                continue;
            found = {found.timeUsec == 0 ? segment.startUsec : found.startUsec,
                     segment.startUsec + segment.durationUsec, found.timeUsec + segment.durationUsec,
                     segment.currentUa};
        }
        return found;
    }

    // Returns the current at which the phase is played, or would be if any of it were.
    double HoldPhase(Tally& tally, std::size_t i) const
    {
        const phase& p = asked[i];
        const auto& [startUsec, endUsec, timeUsec, currentUa] = played[i];
        const double ownRounding = rounding[i + 1] - rounding[i];
        const bool carriesCurrent = std::fabs(p.amp) > 1.00001 * scale.ampStepUa;
        if (timeUsec > 0) {
            const int index = static_cast<int>(i);
            Hold(tally, "boundary", startUsec - start[i], bounds.Boundary(index), rounding[i]);
            Hold(tally, "boundary", endUsec - start[i + 1], bounds.Boundary(index + 1), rounding[i + 1]);
            Hold(tally, "amplitude", std::fabs(p.amp) - std::fabs(currentUa),
                 AmplitudeLost(p.amp, scale.ampStepUa), 0);
        }
        if (timeUsec > 0 || carriesCurrent)
            Hold(tally, "length", timeUsec - p.len, bounds.Length(), ownRounding);
        else if (i > 0 && i + 1 < asked.size() && played[i - 1].timeUsec > 0 && played[i + 1].timeUsec > 0)
            Hold(tally, "length", played[i + 1].startUsec - played[i - 1].endUsec - p.len, bounds.Length(),
                 ownRounding);
        return timeUsec > 0 ? currentUa : carriesCurrent ? p.amp : 0;
    }

    // The worst is kept of lists that are short enough for the roundings not to count.
    void Hold(Tally& tally, const char* quantity, double error, const Range& range, double allowed) const
    {
        EXPECT_TRUE(range.Widened(allowed).Contains(error))
            << quantity << " off by " << error << ", allowed " << range.low << " to " << range.high << ": "
            << testing::PrintToString(asked) << " at " << scale.timeStepUsec << " and " << scale.ampStepUa;
        if (rounding.back() >= 0.01) return;
        Worst& worst = tally.worst[quantity][error > 0 ? 1 : 0];
        const double bound = error > 0 ? range.high : range.low;
        if (std::fabs(error) > std::fabs(worst.error)) worst = {error, bound, worst.share};
        if (bound != 0) worst.share = std::max(worst.share, error / bound);
    }
};

// The words of a pattern, word 0 first; empty when it has none.
Words WordsOf(StimPattern& pattern)
{
    Words words(StimPattern::MaxWords);
    words.resize(static_cast<std::size_t>(std::max(pattern.WordArray(words.data(), 0), 0)));
    return words;
}

// A row of the manual's tables.
void PrintRow(float timeStepUsec, const Tally& tally)
{
    const double step = static_cast<double>(timeStepUsec);
    std::printf("| %.8g | %d |", step, tally.patterns);
    for (const char* const quantity : {"boundary", "length", "period"})
        for (const Worst& worst : tally.worst.at(quantity)) {
            const int digits = step > 1 ? 2 : 3;
            std::printf(" %.*f of %.*f |", digits, std::fabs(worst.error), digits, std::fabs(worst.bound));
        }
    std::printf("\n");
}

// With TARVUTIL_ACCURACY_PATTERNS=N it takes so many lists, and prints tables of the worst.
TEST(AccuracyTest, WhatIsPlayedStaysWithinTheBounds)
{
    const char* const wish = std::getenv("TARVUTIL_ACCURACY_PATTERNS");
    const int patterns = wish == nullptr ? 20000 : std::atoi(wish);
    ASSERT_GT(patterns, 0);
    // Lists clear of the thresholds whose split points all fit, and others: that decides the bounds.
    std::map<std::pair<float, bool>, Tally> tallies;
    Random random(20240611);
    for (int encoded = 0; encoded < patterns && !HasFailure();) {
        const float timeStep = TimeSteps[static_cast<std::size_t>(encoded) % TimeSteps.size()];
        const float ampStep = AmpSteps[static_cast<std::size_t>(random.Below(AmpSteps.size()))];
        ListMaker maker(random, timeStep, ampStep);
        HostPattern plain({}, timeStep, ampStep, StimPattern::MaxWords);
        LillyHost lilly(timeStep, ampStep, StimPattern::MaxWords);
        const bool repaired = random.Below(8) == 0;
        (repaired ? lilly.m_phases : plain.m_phases) = repaired ? maker.Lilly() : maker.Plain();
        const Words words = repaired ? WordsOf(lilly) : WordsOf(plain);
        if (words.empty()) continue;
        ++encoded;
        Comparison comparison{repaired ? lilly.m_phases : plain.m_phases, words, {timeStep, ampStep}};
        const bool clear = !comparison.bounds.near && !comparison.bounds.large;
        comparison.HoldTo(tallies[{timeStep, clear}]);
        EXPECT_TRUE(playback::PlaysPhases(words, comparison.asked, comparison.scale)) << "list " << encoded;
    }
    if (wish == nullptr) return;
    for (const bool clear : {true, false}) {
        std::printf(
            "| Time step | Lists | Boundary earlier | later | Length less | more | Period less | more |\n"
            "|---|---|---|---|---|---|---|---|\n");
        for (const auto& [key, tally] : tallies)
            if (key.second == clear) PrintRow(key.first, tally);
    }
    // Of the clear lists on all time steps, the part of the bound that was reached on the step where it is least.
    for (const char* const quantity : {"boundary", "length", "period", "net charge"})
        for (const std::size_t side : {0U, 1U}) {
            double least = 1;
            for (const auto& [key, tally] : tallies)
                if (key.second) least = std::min(least, tally.worst.at(quantity)[side].share);
            std::printf("- %s, %s: %.1f %%\n", quantity, side == 0 ? "less or earlier" : "more or later",
                        100 * least);
        }
}

TEST(AccuracyTest, WholeMicrosecondsAreExactOnPowersOfTwo)
{
    Random random(1);
    for (const float timeStep : {1.0f, 2.0f, 4.0f, 8.0f, 16.0f, 32.0f}) {
        Tally tally;
        while (tally.patterns < 500) {
            HostPattern pattern(ListMaker(random, timeStep, 1, true).Plain(), timeStep, 1,
                                StimPattern::MaxWords);
            const Words words = WordsOf(pattern);
            if (!words.empty()) Comparison{pattern.m_phases, words, {timeStep, 1}}.HoldTo(tally);
        }
        for (const char* const quantity : {"boundary", "length"})
            for (const Worst& worst : tally.worst.at(quantity))
                EXPECT_EQ(worst.error, 0) << quantity << " at " << timeStep;
    }
}

// What Written holds words against.
TEST(AccuracyTest, WordsOfAnotherListAreNoticed)
{
    const HostPattern pattern({{200, -60}, {100, 0}, {400, 30}, {1000, 0}}, 20);
    const Words written = Written(pattern).value();
    const auto plays = [&](Words words) {
        words.insert(words.begin(), 1);
        return playback::PlaysPhases(words, pattern.Phases(), {20, 1});
    };
    ASSERT_EQ(written.size(), 4U);
    EXPECT_TRUE(plays(written));
    EXPECT_TRUE(playback::PlaysPhases({1, 0x30000}, {{60, 0}}, {20, std::nan("")})) << "no current";
    for (std::size_t i = 0; i < written.size(); ++i) {
        Words words = written;
        words[i] ^= 0x80;  // the sign
        EXPECT_EQ(plays(words), i % 2 != 0) << i;
        words[i] = written[i] & 0xFFFF0000;  // no current
        EXPECT_EQ(plays(words), i % 2 != 0) << i;
        words = written;
        if (i % 2 == 0) {
            words[i] -= 0x80000;  // eight steps, by which the pause is longer
            words[i + 1] += 0x80000;
            EXPECT_FALSE(plays(words)) << i;
        }
        words = written;
        words[i] = written[i] | 0x2001;  // a current, or another one
        EXPECT_FALSE(plays(words)) << i;
        words = written;
        words.erase(words.begin() + static_cast<std::ptrdiff_t>(i));
        EXPECT_FALSE(plays(words)) << i;
        words = written;
        words.push_back(written[i]);
        EXPECT_FALSE(plays(words)) << i;
        words = written;
        std::swap(words[i], words[(i + 1) % 4]);
        EXPECT_FALSE(plays(words)) << i;
    }
}

}  // namespace
