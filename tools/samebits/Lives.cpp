// Integer arithmetic and exact float operations only, so that only the library can cause a difference. No signalling
// NaN is made, because some processors make it quiet when it is passed to a function. Every NaN counts as the same
// value, since its sign and payload depend on the processor.

#include "Lives.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "ContinuedItemPlay.h"
#include "LillyPattern.h"

namespace samebits {
namespace {

// A pattern of any number of phases. Its period is what the phases say, as the checksum has it.
class PhaseList final : public StimPattern
{
 public:
    PhaseList(int maxCmdCount, float timeStepUsec, float ampStepUa, float ampMaxUa)
        : StimPattern(maxCmdCount, timeStepUsec, 0, 0, ampStepUa, ampMaxUa)
    {}

    float SetPeriod(float /*periodMsec*/) override { return Period(); }
    void Defaults() override { ClearPhases(); }
    bool PhaseCountFixed() override { return false; }
    bool AutoAdjustEnabled() override { return false; }
    bool AdjustPhases(std::vector<phase>& /*current*/, std::vector<phase>& proposed, int maxCmds) override
    {
        return ListValid(proposed, maxCmds);
    }
};

// FNV-1a over bytes, least significant first on every processor.
class Checksum
{
 public:
    void Add(std::uint64_t value)
    {
        for (int i = 0; i < 8; ++i) m_value = (m_value ^ (value >> (8 * i) & 0xFFU)) * 0x100000001B3U;
    }
    void Add(int value) { Add(static_cast<std::uint64_t>(static_cast<std::int64_t>(value))); }
    void Add(float value)
    {
        std::uint32_t bits = 0x7FC00000U;
        if (value == value) std::memcpy(&bits, &value, sizeof bits);
        Add(std::uint64_t{bits});
    }
    void Add(const std::string& text)
    {
        for (const char c : text) Add(static_cast<int>(static_cast<unsigned char>(c)));
    }
    std::uint64_t Value() const { return m_value; }

 private:
    std::uint64_t m_value = 0xCBF29CE484222325U;
};

// SplitMix64, seeded anew for each pattern.
class Generator
{
 public:
    explicit Generator(std::uint64_t seed) : m_state(seed) {}

    std::uint64_t Next()
    {
        std::uint64_t z = m_state += 0x9E3779B97F4A7C15U;
        z = (z ^ z >> 30U) * 0xBF58476D1CE4E5B9U;
        z = (z ^ z >> 27U) * 0x94D049BB133111EBU;
        return z ^ z >> 31U;
    }
    int Below(int limit) { return static_cast<int>(Next() >> 33U) % limit; }
    bool Bool() { return Below(2) == 0; }

    template <typename T, std::size_t N>
    T Of(const T (&values)[N])
    {
        return values[Below(static_cast<int>(N))];
    }

    // Sixteenths of a microsecond, whole steps and the floats next to them, sometimes any number.
    float Length()
    {
        static constexpr float Steps[] = {33.333332f, 66.666664f, 99.67f, 133.33333f, 0.5f, 200.0f};
        const int kind = Below(32);
        if (kind == 0) return FromBits(static_cast<std::uint32_t>(Next() >> 32U));
        if (kind < 12) return NearBy(Of(Steps));
        return static_cast<float>(Below(kind < 28 ? 6400 : 1 << 24)) * 0.0625f;
    }

    float Amplitude()
    {
        static constexpr float Steps[] = {10.0f, 50.0f, 100.0f, 7.3f, 999.9f};
        const int kind = Below(32);
        if (kind < 10) return 0;
        const float magnitude = kind < 16    ? NearBy(Of(Steps))
                                : kind == 16 ? Length()
                                             : static_cast<float>(kind * 10);
        return Bool() ? magnitude : -magnitude;
    }

    // Numbers of many forms, with digits that need correct rounding.
    std::string Number()
    {
        static constexpr const char* Forms[] = {"", "", "", "e2", "e-3", "e30", "x", " "};
        std::string text = Below(4) == 0 ? "-" : "";
        text += std::to_string(Below(1000));
        if (Bool()) text += "." + std::to_string(Next());
        return text + Of(Forms);
    }

 private:
    static float FromBits(std::uint32_t bits)
    {
        float value = 0;
        const bool isNaN = (bits & 0x7FFFFFFFU) > 0x7F800000U;
        if (isNaN) bits = 0x7FC00000U;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }
    float NearBy(float value)
    {
        std::uint32_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        return FromBits(bits + static_cast<std::uint32_t>(Below(5)) - 2U);
    }

    std::uint64_t m_state;
};

class Life
{
 public:
    Life(std::uint64_t seed, Checksum& sum) : m_random(seed), m_sum(sum)
    {
        static constexpr float TimeSteps[] = {33.333332f, 33.333332f, 20.0f, 10.0f, 1.0f, 50.25f};
        static constexpr float AmpSteps[] = {10.0f, 10.0f, 1.0f, 2.5f, 7.3f, 100.0f};
        const int budget = 1 + m_random.Below(60);
        const float timeStep = m_random.Of(TimeSteps);
        m_ampStep = m_random.Of(AmpSteps);
        const int mode = m_random.Below(10);
        if (mode < 5)
            m_pattern =
                std::make_unique<LillyPattern>(budget, timeStep, 0.0f, 0.0f, m_ampStep, mode, 1000.0f);
        else
            m_pattern = std::make_unique<PhaseList>(budget, timeStep, m_ampStep, 1000.0f);
        m_lilly = dynamic_cast<LillyPattern*>(m_pattern.get());
    }

    // A repair can need a phase that is missing.
    void Run()
    {
        for (int edits = 2 + m_random.Below(12); edits > 0; --edits) {
            try {
                Edit(m_random.Below(m_lilly == nullptr ? 16 : 26));
                if (m_random.Bool()) AddWords();
            } catch (const std::out_of_range&) {
                m_sum.Add(-1000);
            }
        }
        AddState();
    }

 private:
    void Edit(int operation)
    {
        StimPattern& p = *m_pattern;
        const int i = m_random.Below(8) - 1;
        const float len = m_random.Length();
        const float amp = m_random.Amplitude();
        const bool flag = m_random.Bool();
        switch (operation) {
            case 0:
                return m_sum.Add(p.SetPhaseAmp(i, amp) ? 1 : 0);
            case 1:
                return m_sum.Add(p.SetPhase(i, {len, amp}) ? 1 : 0);
            case 2:
                return m_sum.Add(p.InsertPhase(i, len, amp));
            case 3:
                return m_sum.Add(p.RemovePhase(i));
            case 4:
                return p.SetAmpStepSize(len, flag);
            case 5:
                return p.SetAmpMax(amp);
            case 6:
                return m_sum.Add(p.SetFrequency(len));
            case 7:
                return m_sum.Add(p.SetTrainLength(len));
            case 8:
                return p.SetCycleCount(m_random.Below(10000) - 1);
            case 9:
                return p.SetCmdOverride(flag, static_cast<unsigned short>(m_random.Below(65536)));
            case 10:
                return Read();
            case 11:
                return Play();
            case 12:
                return m_sum.Add(p.SetPhaseLen(i, len) ? 1 : 0);
            case 16:
                return m_sum.Add(m_lilly->SetOffset(len * 0.0009765625f, flag));
            case 17:
                return m_sum.Add(m_lilly->SetIPI(len, flag));
            case 18:
                return m_sum.Add(m_lilly->SetPhase1Len(len, flag));
            case 19:
                return m_sum.Add(m_lilly->SetPhase2Len(len, flag));
            case 20:
                return m_lilly->SetPhase1Amp(amp);
            case 21:
                return m_lilly->SetPhase2Amp(amp);
            case 22:
                return m_lilly->SetPolarity(flag ? Stim::PositiveFirst : Stim::NegativeFirst);
            case 23:
                return m_lilly->SetChargeBalanceMode(i);
            case 24:
                return m_lilly->Defaults();
            default:
                return m_sum.Add(p.AppendPhase(len, amp));
        }
    }

    void Read()
    {
        std::string text = "Head:";
        for (int items = m_random.Below(6); items >= 0; --items) {
            text += "(" + m_random.Number();
            text += "," + m_random.Number() + ")";
        }
        text += ":DurationMsec=[" + m_random.Number();
        text += "]:ChargeBalanceIdx=[" + m_random.Number();
        std::vector<std::string> errors;
        std::vector<std::string> warnings;
        m_sum.Add(m_pattern->FromString(text, m_ampStep, errors, warnings) ? 1 : 0);
        for (const auto& messages : {errors, warnings})
            for (const std::string& message : messages) m_sum.Add(message);
    }

    void Play()
    {
        StimPattern* slot = m_pattern.get();
        ContinuedItemPlay play({0, &slot}, 4095, 1000);
        unsigned char buffer[4 * StimPattern::MaxWords];
        for (const long now : {1003L, 500000L, 2000000000L}) {
            m_sum.Add(play.ContinueCmds(now, buffer));
            m_sum.Add(play.RemCycles());
            m_sum.Add(static_cast<std::uint64_t>(play.m_nextMsec));
        }
    }

    void AddWords()
    {
        unsigned int words[StimPattern::MaxWords];
        const int count = m_pattern->WordArray(words, 0);
        for (int i = 0; i < count; ++i) m_sum.Add(std::uint64_t{words[i]});
        m_sum.Add(count);
    }

    void AddState()
    {
        StimPattern& p = *m_pattern;
        for (const phase& each : p.Phases())
            for (const float value : {each.len, each.amp, p.NearestAmplitude(each.amp)}) m_sum.Add(value);
        m_sum.Add(p.ToString());
        for (const int value : {p.ChangeCount(), p.UpdateCount(), p.CycleCount()}) m_sum.Add(value);
        for (const float value : {p.TrainLength(), p.Period(), p.Frequency(), p.MaxAmp(), p.MaxAbsAmp(),
                                  p.TrainPeriodMismatchPct(), p.PeriodTrimmed(-1), p.FirstActiveTime()})
            m_sum.Add(value);
    }

    Generator m_random;
    Checksum& m_sum;
    float m_ampStep = 0;
    std::unique_ptr<StimPattern> m_pattern;
    LillyPattern* m_lilly = nullptr;  // the pattern, if it is a Lilly pattern
};

}  // namespace

std::string ChecksumOfLives(unsigned long patterns)
{
    Checksum sum;
    for (unsigned long i = 0; i < patterns; ++i) Life(i, sum).Run();
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(sum.Value()));
    return text;
}

}  // namespace samebits
