// A host with its own pattern kind: one period of a sine, sampled as finely as the command budget allows.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "SinePattern.h"

namespace {
constexpr int Budget = 41;  // words, word 0 included
constexpr float TimeStepUsec = 10.0f;
constexpr float AmpStepUa = 1.0f;
constexpr float AmpMaxUa = 100.0f;

class SampledSine final : public SinePattern
{
 public:
    explicit SampledSine(float peakUa)
        : SinePattern(Budget, TimeStepUsec, 0.0f, 0.0f, AmpStepUa, AmpMaxUa), m_peakUa(peakUa)
    {
        Defaults();
    }

    // Each sample is a whole number of time steps, so that no junction word is needed. The second half repeats
    // the first with the opposite sign, so both carry the same charge after any rounding.
    float SetPeriod(float periodMsec) override
    {
        const long halfSteps = std::max(1L, std::lround(periodMsec * 500.0f / m_timeStepUsec));
        const long samples = std::min(halfSteps, static_cast<long>(MaxCmds() / WordsPerSample / 2));
        std::vector<phase> list;
        for (long i = 0; i < samples; ++i) {
            const long steps = halfSteps * (i + 1) / samples - halfSteps * i / samples;
            const double middle = Pi * (static_cast<double>(i) + 0.5) / static_cast<double>(samples);
            list.push_back({static_cast<float>(steps) * m_timeStepUsec,
                            NearestAmplitude(m_peakUa * static_cast<float>(std::sin(middle)))});
        }
        for (long i = 0; i < samples; ++i) {
            const phase& p = list[static_cast<std::size_t>(i)];
            list.push_back({p.len, -p.amp});
        }
        SetPhases(list);
        return Period();
    }

    void Defaults() override
    {
        SetPeriod(10.0f);
        SetTrainLength(1000.0f);
    }
    bool PhaseCountFixed() override { return false; }
    bool AutoAdjustEnabled() override { return false; }
    // No repair: an edit is accepted only if it fits unchanged.
    bool AdjustPhases(std::vector<phase>& /*current*/, std::vector<phase>& proposed, int maxCmds) override
    {
        return ListValid(proposed, maxCmds);
    }

 private:
    static constexpr double Pi = 3.14159265358979323846;
    static constexpr int WordsPerSample = 2;  // counted by validation for a phase of whole steps

    float m_peakUa;
};
}  // namespace

int main()
{
    SampledSine sine(50.0f);
    const float periodMsec = sine.SetPeriod(4.0f);
    unsigned int words[Budget];
    const int count = sine.WordArray(words, 0);
    if (count <= 0) return 1;
    std::printf("%g ms in %d samples, %d cycles, %d words:\n", periodMsec, sine.PhaseCount(),
                sine.CycleCount(), count);
    for (int i = 0; i < count; ++i) std::printf("0x%08X\n", words[i]);
}
