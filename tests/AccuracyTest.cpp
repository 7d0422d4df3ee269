#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iomanip>
#include <sstream>
#include <vector>

#include "Playback.h"
#include "TestPatterns.h"

// Plays back random patterns that encode, most of them aimed at the thresholds of the cutting, and holds what
// is played to the bounds that docs/accuracy.md derives. TARVUTIL_ACCURACY_PATTERNS sets how many patterns;
// when it is set, the worst cases found are printed.

namespace {

struct Range
{
    double low = 0;
    double high = 0;

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
    double carried = 0;
    double rounding = 0;
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
        : m_random(random),
          m_wholeUsec(wholeUsec),
          m_T(T),
          m_ampStep(ampStep),
          m_mood(m_random.Below(Aims)),
          m_slot(m_random.Below(Slots))
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
    const double m_T;
    const double m_ampStep;
    const int m_mood;
    const bool m_pure = Chance(0.3);  // every phase in the same mood: what adds along the list does
    int m_slot;
    double m_carried = 0;
    bool m_nearThreshold = false;
};

constexpr std::array<float, 10> TimeSteps{0.5f, 0.9f, 1, 10.9f, 20, ThirdStep, 40.6f, 50, 100, 1000};
constexpr std::array<float, 6> AmpSteps{0.1f, 0.3f, 1, 3.3f, 7.5f, 10};

enum Quantity
{
    Boundary,
    Length,
    Amplitude,
    Period,
    NetCharge,
    Quantities
};
constexpr const char* Names[] = {"boundary", "length", "amplitude", "period", "net charge"};

// The worst found on one time step, of each quantity: played less, and played more than asked.
struct Tally
{
    struct Worst
    {
        double error = 0;  // the largest, and its bound
        double bound = 0;
        double share = 0;  // the largest part of a bound that an error reached
    };

    void Take(Quantity quantity, double error, const Range& range)
    {
        Worst& entry = worst[quantity][error > 0];
        const double bound = error > 0 ? range.high : range.low;
        if (std::fabs(error) > std::fabs(entry.error)) entry = {error, bound, entry.share};
        if (bound != 0) entry.share = std::max(entry.share, error / bound);
    }

    void Print(float timeStep, const char* kind) const
    {
        std::printf("time step %g, %s: %d patterns\n", static_cast<double>(timeStep), kind, patterns);
        for (int quantity = 0; quantity < Quantities; ++quantity)
            for (const Worst& entry : worst[quantity])
                if (entry.error != 0)
                    std::printf("  %-10s %12.4f, bound %12.4f; share %.3f\n", Names[quantity], entry.error,
                                entry.bound, entry.share);
    }

    int patterns = 0;
    Worst worst[Quantities][2];
};

// One pattern, as asked and as played.
class Comparison
{
 public:
    Comparison(const PhaseList& asked, const Words& words, const playback::Scale& scale)
        : m_asked(asked),
          m_scale(scale),
          m_bounds(BoundsOf(asked, scale.timeStepUsec)),
          m_segments(playback::Segments(words, scale)),
          m_periodUsec(playback::PeriodUsec(words, scale))
    {
        for (const phase& p : asked) {
            m_start.push_back(m_start.back() + p.len);
            m_rounding.push_back(m_rounding.back() + Rounding(p.len, scale.timeStepUsec));
            m_played.push_back(Find(p));
        }
    }

    bool ClearAndFitting() const { return !m_bounds.near && !m_bounds.large; }

    void Hold(Tally& tally) const
    {
        ++tally.patterns;
        Range charge;
        double chargeUnrounded = 0;
        double currentUsec = 0;
        for (std::size_t i = 0; i < m_asked.size(); ++i) {
            const double current = HoldPhase(tally, i);
            const Range length = m_bounds.Length().Widened(m_rounding[i + 1] - m_rounding[i]);
            charge.low += std::min(current * length.low, current * length.high);
            charge.high += std::max(current * length.low, current * length.high);
            chargeUnrounded += current * m_asked[i].len;
            currentUsec += m_played[i].timeUsec;
        }
        const double chargePc = 1000 * playback::ChargeOf(m_segments).NetNc();
        Hold(tally, NetCharge, chargePc - chargeUnrounded, charge, 0);
        Hold(tally, Period, m_periodUsec - m_start.back(), m_bounds.Period(static_cast<int>(m_asked.size())),
             m_rounding.back());
        for (const playback::Segment& segment : m_segments)
            if (segment.kind == playback::Kind::Current) currentUsec -= segment.durationUsec;
        EXPECT_NEAR(currentUsec, 0, 1e-6 + m_rounding.back())
            << "a current that no phase asked for" << Text();
    }

 private:
    struct Played
    {
        double startUsec = 0;
        double endUsec = 0;
        double timeUsec = 0;  // at the phase's current; 0 when nothing of it was played
        double currentUa = 0;
    };

    Played Find(const phase& p) const
    {
        Played played;
        for (const playback::Segment& segment : m_segments) {
            const double lost = std::fabs(p.amp) - std::fabs(segment.currentUa);
            if (segment.currentUa * p.amp <= 0 || !AmplitudeLost(p.amp, m_scale.ampStepUa).Contains(lost))
                continue;
            if (played.timeUsec == 0) played.startUsec = segment.startUsec;
            played.endUsec = segment.startUsec + segment.durationUsec;
            played.timeUsec += segment.durationUsec;
            played.currentUa = segment.currentUa;
        }
        return played;
    }

    // Returns the current at which the phase is played, or would be if any of it were.
    double HoldPhase(Tally& tally, std::size_t i) const
    {
        const phase& p = m_asked[i];
        const Played& played = m_played[i];
        const double ownRounding = m_rounding[i + 1] - m_rounding[i];
        const bool carriesCurrent = std::fabs(p.amp) > 1.00001 * m_scale.ampStepUa;
        if (played.timeUsec > 0) {
            const int index = static_cast<int>(i);
            Hold(tally, Boundary, played.startUsec - m_start[i], m_bounds.Boundary(index), m_rounding[i]);
            Hold(tally, Boundary, played.endUsec - m_start[i + 1], m_bounds.Boundary(index + 1),
                 m_rounding[i + 1]);
            Hold(tally, Amplitude, std::fabs(p.amp) - std::fabs(played.currentUa),
                 AmplitudeLost(p.amp, m_scale.ampStepUa), 0);
        }
        const bool betweenPlayed =
            i > 0 && i + 1 < m_asked.size() && m_played[i - 1].timeUsec > 0 && m_played[i + 1].timeUsec > 0;
        if (played.timeUsec > 0 || carriesCurrent)
            Hold(tally, Length, played.timeUsec - p.len, m_bounds.Length(), ownRounding);
        else if (betweenPlayed)
            Hold(tally, Length, m_played[i + 1].startUsec - m_played[i - 1].endUsec - p.len,
                 m_bounds.Length(), ownRounding);
        return played.timeUsec > 0 ? played.currentUa : carriesCurrent ? p.amp : 0;
    }

    // The worst is kept of lists that are short enough for the roundings not to count.
    void Hold(Tally& tally, Quantity quantity, double error, const Range& bound, double rounding) const
    {
        if (m_rounding.back() < 0.01) tally.Take(quantity, error, bound);
        const Range range = bound.Widened(rounding);
        EXPECT_TRUE(range.Contains(error)) << Names[quantity] << " off by " << error << ", allowed "
                                           << range.low << " to " << range.high << Text();
    }

    std::string Text() const
    {
        std::ostringstream text;
        text << std::setprecision(9) << "\ntime step " << m_scale.timeStepUsec << ", amplitude step "
             << m_scale.ampStepUa << (m_bounds.near ? ", near" : "") << (m_bounds.large ? ", large: " : ": ");
        for (const phase& p : m_asked) text << '(' << p.len << ',' << p.amp << ')';
        return text.str();
    }

    const PhaseList& m_asked;
    const playback::Scale m_scale;
    const Bounds m_bounds;
    const std::vector<playback::Segment> m_segments;
    const double m_periodUsec;
    std::vector<double> m_start{0};     // of each phase, as asked; the period behind the last
    std::vector<double> m_rounding{0};  // that the bound of this start allows
    std::vector<Played> m_played;
};

// The words of a pattern, word 0 first; empty when it has none.
Words WordsOf(StimPattern& pattern)
{
    Words words(StimPattern::MaxWords);
    words.resize(static_cast<std::size_t>(std::max(pattern.WordArray(words.data(), 0), 0)));
    return words;
}

TEST(AccuracyTest, WhatIsPlayedStaysWithinTheBounds)
{
    const char* const wish = std::getenv("TARVUTIL_ACCURACY_PATTERNS");
    const int patterns = wish == nullptr ? 20000 : std::atoi(wish);
    ASSERT_GT(patterns, 0);
    std::array<Tally, TimeSteps.size()> clear;
    std::array<Tally, TimeSteps.size()> others;
    Random random(20240611);
    for (int encoded = 0; encoded < patterns && !HasFailure();) {
        const std::size_t row = static_cast<std::size_t>(encoded) % TimeSteps.size();
        const float ampStep = AmpSteps[static_cast<std::size_t>(random.Below(AmpSteps.size()))];
        ListMaker maker(random, TimeSteps[row], ampStep);
        HostPattern plain({}, TimeSteps[row], ampStep, StimPattern::MaxWords);
        LillyHost lilly(TimeSteps[row], ampStep, StimPattern::MaxWords);
        const bool repaired = random.Below(8) == 0;
        (repaired ? lilly.m_phases : plain.m_phases) = repaired ? maker.Lilly() : maker.Plain();
        const Words words = repaired ? WordsOf(lilly) : WordsOf(plain);
        if (words.empty()) continue;
        ++encoded;
        const PhaseList asked = repaired ? lilly.Phases() : plain.Phases();
        const Comparison comparison(asked, words, {TimeSteps[row], ampStep});
        comparison.Hold((comparison.ClearAndFitting() ? clear : others)[row]);
    }
    for (std::size_t row = 0; wish != nullptr && row < TimeSteps.size(); ++row) {
        clear[row].Print(TimeSteps[row], "clear of the thresholds, all split points fit");
        others[row].Print(TimeSteps[row], "others");
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
            if (!words.empty()) Comparison(pattern.m_phases, words, {timeStep, 1}).Hold(tally);
        }
        for (const Tally::Worst& worst : {tally.worst[Boundary][0], tally.worst[Boundary][1],
                                          tally.worst[Length][0], tally.worst[Length][1]})
            EXPECT_EQ(worst.error, 0) << "time step " << timeStep;
    }
}

}  // namespace
