// What the library makes of the lines of lives.py: the reference for the other languages.

#include <cstdio>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "LillyPattern.h"
#include "PlainPattern.h"

namespace {

constexpr int Budget = 101;

std::vector<std::string> Split(const std::string& text, char separator)
{
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);) parts.push_back(part);
    return parts;
}

std::string WordsOf(StimPattern& pattern)
{
    unsigned int words[Budget];
    const int count = pattern.WordArray(words, 0);
    if (count < 1) return "refused";
    std::string text;
    for (int i = 0; i < count; ++i) {
        char word[10];
        std::snprintf(word, sizeof word, "%s%08X", i == 0 ? "" : " ", words[i]);
        text += word;
    }
    return text;
}

std::string Encode(StimPattern& pattern, const std::string& text, float ampStep)
{
    std::vector<std::string> errors;
    std::vector<std::string> warnings;
    pattern.ClearPhases();
    try {
        if (!pattern.FromString(text, ampStep, errors, warnings) || pattern.PhaseCount() == 0)
            return "refused";
    } catch (const std::out_of_range&) {
        return "refused";
    }
    return WordsOf(pattern);
}

float Set(LillyPattern& p, std::string name, float value)
{
    const bool extend = name[0] == '+';
    if (extend) name.erase(0, 1);
    if (name == "phase1_us") return p.SetPhase1Len(value, extend), p.Phase1Len();
    if (name == "phase2_us") return p.SetPhase2Len(value, extend), p.Phase2Len();
    if (name == "ipi_us") return p.SetIPI(value, extend), p.IPI();
    if (name == "offset_ms") return p.SetOffset(value, extend), p.Offset();
    if (name == "phase1_ua") return p.SetPhase1Amp(value), p.Phase1Amp();
    if (name == "phase2_ua") return p.SetPhase2Amp(value), p.Phase2Amp();
    if (name == "polarity")
        return p.SetPolarity(value != 0 ? Stim::PositiveFirst : Stim::NegativeFirst),
               p.Polarity() == Stim::PositiveFirst ? 1.0f : 0.0f;
    if (name == "period_ms") return p.SetPeriod(value), p.Period();
    if (name == "frequency_hz") return p.SetFrequency(value), p.Frequency();
    if (name == "train_ms") return p.SetTrainLength(value), p.TrainLength();
    if (name == "balance_mode")
        return p.SetChargeBalanceMode(static_cast<int>(value)), static_cast<float>(p.BalanceMode());
    if (name == "cycles") return p.SetCycleCount(static_cast<int>(value)), static_cast<float>(p.CycleCount());
    throw std::invalid_argument(name);
}

}  // namespace

int main(int, char** arguments)
{
    std::ifstream file(arguments[1]);
    for (std::string line; std::getline(file, line);) {
        const std::vector<std::string> parts = Split(line, '\t');
        const float step = std::stof(parts[1]);
        const float amp = std::stof(parts[2]);
        const float most = 100 * amp;
        LillyPattern lilly(Budget, step, 0, 0, amp, 0, most);
        std::string out;
        if (parts[0] == "text") {
            PlainPattern plain(Budget, step, amp, most);
            out = parts[3] == "1" ? Encode(plain, parts[4], amp) : Encode(lilly, parts[4], amp);
        } else {
            for (const std::string& item : Split(parts[3], ',')) {
                const std::size_t equals = item.find('=');
                char effect[32];
                std::snprintf(effect, sizeof effect, "%s%.9g ", out.empty() ? "" : ";",
                              static_cast<double>(
                                  Set(lilly, item.substr(0, equals), std::stof(item.substr(equals + 1)))));
                out += effect + WordsOf(lilly);
            }
        }
        std::cout << out << '\n';
    }
}
