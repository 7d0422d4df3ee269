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

    // place is called only when its text, the place of the pattern, is needed.
    template <typename Place>
    void Add(const Report& report, const Place& place)
    {
        Count(report);
        if (!report.encoding.Encoded()) return;
        for (const LimitKind& kind : LimitKinds())
            if (Worst& most = worst[static_cast<std::size_t>(kind.limit)];
                IsWorse(kind.value(report.deviations), most.value))
                most = {kind.value(report.deviations), place()};
    }

 private:
    void Count(const Report& report);
    static bool IsWorse(double value, double than);
};

}  // namespace preview
