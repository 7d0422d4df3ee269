#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <iomanip>
#include <limits>
#include <optional>
#include <ostream>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "LillyPattern.h"
#include "PlainPattern.h"
#include "Playback.h"
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
    *out << std::setprecision(9) << p.len << ',' << p.amp;
}

// "5,0 7,-10" -> {{5, 0}, {7, -10}}
inline PhaseList Listed(const std::string& text)
{
    PhaseList phases;
    for (const char* at = text.c_str(); *at != '\0';) {
        char* end = nullptr;
        const float len = std::strtof(at, &end);
        phases.push_back({len, std::strtof(end + 1, &end)});
        at = end;
    }
    return phases;
}

// A kind whose members a test may look at and change.
template <typename Kind>
class Opened : public Kind
{
 public:
    using Kind::Kind;

    using Kind::ListValid, Kind::m_ampMax, Kind::m_ampStepSize, Kind::m_arrayChangeCount, Kind::m_changeCount,
        Kind::m_cmdOverride, Kind::m_cmdOverrideValue, Kind::m_label, Kind::m_maxCmdCount, Kind::m_param2,
        Kind::m_param3, Kind::m_phases, Kind::m_reserved, Kind::m_roundCyclesDown, Kind::m_timeStepUsec,
        Kind::m_trainLengthUsec, Kind::m_updateCount, Kind::m_wordArray, Kind::m_wordCount;
};

// A host's completion of a pattern kind: any number of phases, and no repair.
template <typename Kind>
class Completed : public Opened<Kind>
{
 public:
    using Opened<Kind>::Opened;

    float SetPeriod(float /*periodMsec*/) override { return this->Period(); }
    void Defaults() override {}
    bool PhaseCountFixed() override { return false; }
    bool AutoAdjustEnabled() override { return false; }
    bool AdjustPhases(PhaseList& /*current*/, PhaseList& proposed, int maxCmds) override
    {
        return this->ListValid(proposed, maxCmds);
    }
};

class HostPattern : public Opened<PlainPattern>
{
 public:
    explicit HostPattern(PhaseList phases = {}, float timeStepUsec = 1, float ampStepUa = 1, int budget = 101,
                         float ampMaxUa = 1000)
        : Opened(budget, timeStepUsec, ampStepUa, ampMaxUa)
    {
        m_phases = std::move(phases);
    }
};

class LillyHost : public LillyPattern
{
 public:
    explicit LillyHost(float timeStepUsec = ThirdStep, float ampStepUa = 10, int budget = 101,
                       int balanceMode = 0)
        : LillyPattern(budget, timeStepUsec, 0, 0, ampStepUa, balanceMode, 1000)
    {}

    using LillyPattern::m_phases;
};

// Calls write with a buffer of capacity words; the words written, or none when it is refused. Nothing may be
// written beyond them or beyond the capacity.
template <typename Write>
std::optional<Words> Collected(int capacity, Write write)
{
    constexpr unsigned int Untouched = 0xDEADBEEF;
    Words words(static_cast<std::size_t>(std::max(capacity, 0)) + 1, Untouched);
    const int count = write(words.data());
    EXPECT_EQ(words.back(), Untouched);
    EXPECT_GE(count, -1);
    if (count < 0) return std::nullopt;
    EXPECT_EQ(words[static_cast<std::size_t>(count)], Untouched);
    words.resize(static_cast<std::size_t>(count));
    return words;
}

// What is written is played back and held against the phases.
inline std::optional<Words> Written(const StimPattern& pattern, int maxWords = StimPattern::MaxWords)
{
    struct Inside : StimPattern
    {
        static float TimeStepOf(const StimPattern& p) { return p.*&Inside::m_timeStepUsec; }
        static bool IsOverridden(const StimPattern& p) { return p.*&Inside::m_cmdOverride; }
    };
    std::optional<Words> words =
        Collected(maxWords, [&](unsigned int* out) { return pattern.WriteStimCmds(out, maxWords); });
    const playback::Scale scale{Inside::TimeStepOf(pattern), pattern.AmpStepSize()};
    if (words && !Inside::IsOverridden(pattern)) {
        Words array{1};
        array.insert(array.end(), words->begin(), words->end());
        EXPECT_TRUE(playback::PlaysPhases(array, pattern.Phases(), scale));
    }
    return words;
}

// The words of one cycle in hexadecimal, "00030000 0006A01E", or "none" or "refused".
inline std::string Hex(const std::optional<Words>& words)
{
    if (!words) return "refused";
    if (words->empty()) return "none";
    std::string text;
    for (const unsigned int word : *words) {
        char digits[10];
        std::snprintf(digits, sizeof digits, "%s%08X", text.empty() ? "" : " ", word);
        text += digits;
    }
    return text;
}

// The word array of a pattern, word 0 first, likewise.
inline std::string Array(StimPattern& pattern)
{
    return Hex(
        Collected(StimPattern::MaxWords, [&](unsigned int* words) { return pattern.WordArray(words, 1); }));
}

// FNV-1a.
inline std::uint64_t Checksum(const std::string& text)
{
    std::uint64_t checksum = 0xCBF29CE484222325;
    for (const char c : text) checksum = (checksum ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    return checksum;
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
