// What the library itself takes for specification strings, for comparison with calls from another language.
//
//     texts TIME_STEP AMP_STEP CALLS < LINES
//
// Prints two numbers, microseconds of processor time per text, the shortest of several runs: of the first line, read
// and encoded CALLS times; and of all lines.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <limits>
#include <string>
#include <vector>

#include "LillyPattern.h"

namespace {

constexpr int Runs = 15;
constexpr int Budget = 101;

// As a host does: the text into an empty pattern, and its words. Returns their number.
int Encode(LillyPattern& pattern, const std::string& text, float ampStepUa, unsigned int* words)
{
    static std::vector<std::string> errors, warnings;
    errors.clear();
    warnings.clear();
    pattern.ClearPhases();
    return pattern.FromString(text, ampStepUa, errors, warnings) ? pattern.WordArray(words, 0) : 0;
}

template <typename Call>
double ShortestUsec(std::size_t calls, Call call)
{
    double best = std::numeric_limits<double>::infinity();
    for (int run = 0; run < Runs; ++run) {
        const std::clock_t start = std::clock();
        for (std::size_t i = 0; i < calls; ++i)
            if (call(i) < 1) std::exit(1);
        best = std::min(best, static_cast<double>(std::clock() - start));
    }
    return best * (1e6 / CLOCKS_PER_SEC) / static_cast<double>(calls);
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 4) return 2;
    const float timeStep = std::strtof(argv[1], nullptr);
    const float ampStep = std::strtof(argv[2], nullptr);
    std::vector<std::string> texts;
    for (std::string line; std::getline(std::cin, line);) texts.push_back(line);
    if (texts.empty()) return 2;
    unsigned int words[Budget];
    LillyPattern pattern(Budget, timeStep, 0, 0, ampStep, 0, 100 * ampStep);
    const auto encode = [&](const std::string& text) { return Encode(pattern, text, ampStep, words); };
    const double one = ShortestUsec(static_cast<std::size_t>(std::atoi(argv[3])),
                                    [&](std::size_t) { return encode(texts[0]); });
    const double all = ShortestUsec(texts.size(), [&](std::size_t i) { return encode(texts[i]); });
    std::printf("%.3f %.3f\n", one, all);
}
