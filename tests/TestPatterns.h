#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <optional>
#include <ostream>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "LillyPattern.h"
#include "StimPattern.h"

// What the tests of the library share: hosts of it that show what a host cannot see, and short names.

using PhaseList = std::vector<phase>;
using Words = std::vector<unsigned int>;
using Texts = std::vector<std::string>;

constexpr float NaN = std::numeric_limits<float>::quiet_NaN();
constexpr float Inf = std::numeric_limits<float>::infinity();
constexpr float LargestFloat = std::numeric_limits<float>::max();
constexpr int LargestInt = std::numeric_limits<int>::max();
constexpr int SmallestInt = std::numeric_limits<int>::min();

// The float nearest to 100/3 us: a time step that no whole number of microseconds is a multiple of.
constexpr float ThirdStep = 33.333332f;

inline bool operator==(const phase& a, const phase& b)
{
    return a.len == b.len && a.amp == b.amp;
}

inline void PrintTo(const phase& p, std::ostream* out)
{
    *out << '(' << p.len << ',' << p.amp << ')';
}

// A pattern of any number of phases that repairs nothing, with every member in sight.
class HostPattern : public StimPattern
{
 public:
    explicit HostPattern(PhaseList phases = {}, float timeStepUsec = 1, float ampStepUa = 1, int budget = 101,
                         float ampMaxUa = 1000)
        : StimPattern(budget, timeStepUsec, 0, 0, ampStepUa, ampMaxUa)
    {
        m_phases = std::move(phases);
    }

    float SetPeriod(float /*periodMsec*/) override { return Period(); }
    void Defaults() override {}
    bool PhaseCountFixed() override { return false; }
    bool AutoAdjustEnabled() override { return false; }
    bool AdjustPhases(PhaseList& /*current*/, PhaseList& proposed, int maxCmds) override
    {
        return PhasesValid(proposed, maxCmds);
    }

    using StimPattern::ListValid;
    using StimPattern::m_ampMax;
    using StimPattern::m_ampStepSize;
    using StimPattern::m_arrayChangeCount;
    using StimPattern::m_changeCount;
    using StimPattern::m_cmdOverride;
    using StimPattern::m_cmdOverrideValue;
    using StimPattern::m_label;
    using StimPattern::m_maxCmdCount;
    using StimPattern::m_param2;
    using StimPattern::m_param3;
    using StimPattern::m_phases;
    using StimPattern::m_reserved;
    using StimPattern::m_roundCyclesDown;
    using StimPattern::m_timeStepUsec;
    using StimPattern::m_trainLengthUsec;
    using StimPattern::m_updateCount;
    using StimPattern::m_wordArray;
    using StimPattern::m_wordCount;
};

// A pattern that records what the library asks of it, reworks what it is told to and answers as told.
class RecordingPattern : public HostPattern
{
 public:
    using HostPattern::HostPattern;

    struct Offer
    {
        PhaseList current;
        PhaseList proposed;
        int maxCmds;
        bool own;        // current is the pattern's own list
        bool sameLists;  // current and proposed are the same object
    };

    float SetPeriod(float periodMsec) override
    {
        periods.push_back(periodMsec);
        return periodInForce;
    }

    bool AdjustPhases(PhaseList& current, PhaseList& proposed, int maxCmds) override
    {
        offers.push_back({current, proposed, maxCmds, &current == &m_phases, &current == &proposed});
        if (!rework.empty()) proposed = rework;
        return accept;
    }

    std::vector<float> periods;
    float periodInForce = 1;
    std::vector<Offer> offers;
    PhaseList rework;
    bool accept = true;
};

class LillyHost : public LillyPattern
{
 public:
    explicit LillyHost(float timeStepUsec = ThirdStep, float ampStepUa = 10, int budget = 101,
                       int balanceMode = 0)
        : LillyPattern(budget, timeStepUsec, 0, 0, ampStepUa, balanceMode, 1000)
    {}

    using LillyPattern::m_autoAdjust;
    using LillyPattern::m_changeCount;
    using LillyPattern::m_phases;
    using LillyPattern::m_roundCyclesDown;
    using LillyPattern::m_timeStepUsec;
    using LillyPattern::m_trainLengthUsec;
};

constexpr unsigned int Untouched = 0xDEADBEEF;

// The words of one cycle; none when the writer refuses. Nothing may be written beyond them or the limit.
inline std::optional<Words> Written(const StimPattern& pattern, int maxWords = StimPattern::MaxWords)
{
    Words words(static_cast<std::size_t>(std::max(maxWords, 0)) + 1, Untouched);
    const int count = pattern.WriteStimCmds(words.data(), maxWords);
    EXPECT_EQ(words.back(), Untouched);
    if (count < 0) return std::nullopt;
    EXPECT_EQ(words[static_cast<std::size_t>(count)], Untouched);
    words.resize(static_cast<std::size_t>(count));
    return words;
}

// The word array of a pattern, word 0 first; none when there is none.
inline std::optional<Words> Array(StimPattern& pattern)
{
    Words words(StimPattern::MaxWords + 1, Untouched);
    const int count = pattern.WordArray(words.data(), 1);
    EXPECT_EQ(words[static_cast<std::size_t>(std::max(count, 0))], Untouched);
    if (count < 0) return std::nullopt;
    words.resize(static_cast<std::size_t>(count));
    return words;
}

// Fixed seeds give the same numbers with every standard library.
class Random
{
 public:
    explicit Random(unsigned int seed) : m_engine(seed) {}

    int Below(int limit) { return static_cast<int>(m_engine() % static_cast<unsigned int>(limit)); }
    int Between(int low, int high) { return low + Below(high - low + 1); }
    float Fraction() { return static_cast<float>(Below(1 << 24)) / static_cast<float>(1 << 24); }

 private:
    std::mt19937 m_engine;
};
