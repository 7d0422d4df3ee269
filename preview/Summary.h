#pragma once

#include <array>
#include <cstddef>
#include <string>

#include "Report.h"

// The results of several patterns together.
namespace preview {

struct Summary
{
    // The largest value of a limit in magnitude, and its place; no place when it is 0 everywhere.
    struct Worst
    {
        double value = 0;
        std::string place;
    };

    std::size_t patterns = 0;
    std::size_t within = 0;   // the limits
    std::size_t refused = 0;  // they have no words
    std::array<Worst, LimitCount> worst;

    // What a summary needs of one pattern.
    struct Pattern
    {
        bool within;
        bool refused;
        std::array<double, LimitCount> values;  // when it is not refused
    };
    static Pattern PatternOf(const Report& report);

    // place is called only when its text, the place of the pattern, is needed.
    template <typename Place>
    void Add(const Pattern& pattern, const Place& place)
    {
        ++patterns;
        if (pattern.within) ++within;
        if (pattern.refused) ++refused;
        for (std::size_t i = 0; i < LimitCount && !pattern.refused; ++i)
            if (IsWorse(pattern.values[i], worst[i].value)) worst[i] = {pattern.values[i], place()};
    }

 private:
    static bool IsWorse(double value, double than);
};

}  // namespace preview
