// Prints one checksum of the words, states and texts of many patterns and edits. It must come out the same with every
// compiler, level of optimisation and processor: a word must not depend on where it was made.
//
//     SameBits [PATTERNS [CHECKSUM]]
//
// With a checksum the result is compared, and the program fails when it differs. The patterns come from integer
// arithmetic and exact float operations only, so that a difference is one of the library. No signalling NaN is made:
// some processors quieten one on its way into a function. Of a NaN only that it is one goes into the checksum, since
// its sign and payload are the processor's.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "ContinuedItemPlay.h"
#include "LillyPattern.h"
#include "StimPattern.h"

namespace {

// FNV-1a over bytes, least significant first on every processor.
class Checksum
{
 public:
    void Add(std::uint64_t value)
    {
        for (int i = 0; i < 8; ++i) AddByte(static_cast<unsigned char>(value >> (8 * i) & 0xFFU));
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
        for (const char c : text) AddByte(static_cast<unsigned char>(c));
        Add(static_cast<int>(text.size()));
    }
    void Add(const std::vector<std::string>& texts)
    {
        for (const std::string& text : texts) Add(text);
        Add(static_cast<int>(texts.size()));
    }
    std::uint64_t Value() const { return m_value; }

 private:
    void AddByte(unsigned char byte) { m_value = (m_value ^ byte) * 0x100000001B3U; }
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

    template <std::size_t N>
    float Of(const float (&values)[N])
    {
        return values[Below(static_cast<int>(N))];
    }

    // Sixteenths of a microsecond, steps and floats beside them, now and then any number.
    float Length()
    {
        static constexpr float Steps[] = {33.333332f, 66.666664f, 99.67f, 100.0f,
                                          133.33333f, 0.5f,       200.0f, 16.0f};
        const int kind = Below(32);
        if (kind == 0) return AnyNumber();
        if (kind < 12) return NearBy(Of(Steps));
        const int sixteenths = kind < 28 ? Below(16 * 400) : Below(1 << 24);
        return static_cast<float>(sixteenths) * 0.0625f;
    }

    float Amplitude()
    {
        static constexpr float Steps[] = {10.0f, 50.0f, 100.0f, 7.3f, 999.9f};
        const int kind = Below(32);
        if (kind == 0) return AnyNumber();
        if (kind < 10) return 0;
        const float magnitude = kind < 16 ? NearBy(Of(Steps)) : static_cast<float>(Below(4096)) * 0.25f;
        return Bool() ? magnitude : -magnitude;
    }

    float AnyNumber()
    {
        const float value = FromBits(static_cast<std::uint32_t>(Next() >> 32U));
        return value == value ? value : FromBits(0x7FC00000U);
    }

 private:
    static float FromBits(std::uint32_t bits)
    {
        float value = 0;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }
    float NearBy(float value)
    {
        std::uint32_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        const int steps = Below(5) - 2;
        return FromBits(bits + static_cast<std::uint32_t>(steps));
    }
    std::uint64_t m_state;
};

class PlainPattern : public StimPattern
{
 public:
    using StimPattern::StimPattern;
    float SetPeriod(float periodMsec) override
    {
        SetPhaseLen(PhaseCount() - 1, periodMsec);
        return Period();
    }
    void Defaults() override {}
    bool PhaseCountFixed() override { return false; }
    bool AutoAdjustEnabled() override { return false; }
    bool AdjustPhases(std::vector<phase>& /*current*/, std::vector<phase>& proposed, int maxCmds) override
    {
        return ListValid(proposed, maxCmds);
    }
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
        if (m_random.Bool()) {
            const int mode = m_random.Below(5);
            auto lilly = std::make_unique<LillyPattern>(budget, timeStep, 0, 0, m_ampStep, mode, 1000);
            m_lilly = lilly.get();
            m_pattern = std::move(lilly);
        } else {
            m_pattern = std::make_unique<PlainPattern>(budget, timeStep, 0, 0, m_ampStep, 1000);
            for (int count = m_random.Below(8); count > 0; --count) {
                const float len = m_random.Length();
                const float amp = m_random.Amplitude();
                m_pattern->AppendPhase(len, amp);
            }
        }
    }

    void Run()
    {
        for (int edits = 1 + m_random.Below(8); edits > 0; --edits) {
            Guarded(m_lilly != nullptr && m_random.Bool() ? &Life::EditLilly : &Life::Edit);
            if (m_random.Below(3) == 0) Guarded(&Life::AddWords);
        }
        Guarded(&Life::AddWords);
        Guarded(&Life::AddPlay);
        AddState();
    }

 private:
    // A repair may find that a phase is missing.
    void Guarded(void (Life::*step)())
    {
        try {
            (this->*step)();
        } catch (const std::out_of_range&) {
            m_sum.Add(-1000);
        }
    }

    void Edit()
    {
        StimPattern& p = *m_pattern;
        const int i = m_random.Below(8) - 1;
        const float len = m_random.Length();
        const float amp = m_random.Amplitude();
        switch (m_random.Below(16)) {
            case 0:
                return m_sum.Add(p.SetPhaseAmp(i, amp) ? 1 : 0);
            case 1:
                return m_sum.Add(p.SetPhase(i, {len, amp}) ? 1 : 0);
            case 2:
                return m_sum.Add(p.InsertPhase(i, len, amp));
            case 3:
                return m_sum.Add(p.RemovePhase(i));
            case 4:
                return m_sum.Add(p.AppendPhase(len, amp));
            case 5:
                return p.SetAmpStepSize(len, i > 2);
            case 6:
                return p.SetAmpMax(amp);
            case 7:
                return m_sum.Add(p.SetFrequency(len));
            case 8:
                return m_sum.Add(p.SetTrainLength(len));
            case 9:
                return p.SetCycleCount(m_random.Below(10000) - 1);
            case 10:
                return p.SetCmdOverride(
                    i > 2, static_cast<unsigned short>(len < 60000 && len >= 0 ? static_cast<int>(len) : 7));
            case 11:
            case 12:
                return Read();
            default:
                return m_sum.Add(p.SetPhaseLen(i, len) ? 1 : 0);
        }
    }

    void EditLilly()
    {
        LillyPattern& p = *m_lilly;
        const float len = m_random.Length();
        const float amp = m_random.Amplitude();
        const bool extend = m_random.Bool();
        switch (m_random.Below(8)) {
            case 0:
                return m_sum.Add(p.SetOffset(len * 0.0009765625f, extend));
            case 1:
                return m_sum.Add(p.SetIPI(len, extend));
            case 2:
                return m_sum.Add(p.SetPhase1Len(len, extend));
            case 3:
                return m_sum.Add(p.SetPhase2Len(len, extend));
            case 4:
                return p.SetPhase1Amp(amp);
            case 5:
                return p.SetPhase2Amp(amp);
            case 6:
                return p.SetPolarity(extend ? Stim::PositiveFirst : Stim::NegativeFirst);
            default:
                return p.SetChargeBalanceMode(m_random.Below(5));
        }
    }

    // Numbers of many forms, with digits that need correct rounding.
    std::string Number()
    {
        static constexpr const char* Forms[] = {"", "", "", "e2", "e-3", "e30", "x", " "};
        std::string text = m_random.Below(4) == 0 ? "-" : "";
        text += std::to_string(m_random.Below(1000));
        if (m_random.Bool()) text += "." + std::to_string(m_random.Next());
        return text + Forms[m_random.Below(8)];
    }

    void Read()
    {
        std::string text = "Head:";
        for (int items = m_random.Below(6); items >= 0; --items) {
            text += "(" + Number();
            text += "," + Number() + ")";
        }
        text += ":DurationMsec=[" + Number() + "]";
        if (m_random.Bool()) text += ":ChargeBalanceIdx=[" + Number() + "]";
        std::vector<std::string> errors;
        std::vector<std::string> warnings;
        m_sum.Add(m_pattern->FromString(text, m_ampStep, errors, warnings) ? 1 : 0);
        m_sum.Add(errors);
        m_sum.Add(warnings);
    }

    void AddWords()
    {
        unsigned int words[StimPattern::MaxWords];
        const int count = m_pattern->WordArray(words, 0);
        for (int i = 0; i < count; ++i) m_sum.Add(std::uint64_t{words[i]});
        m_sum.Add(count);
        m_sum.Add(m_pattern->UpdateCount());
    }

    void AddState()
    {
        StimPattern& p = *m_pattern;
        for (const phase& each : p.Phases()) {
            m_sum.Add(each.len);
            m_sum.Add(each.amp);
            m_sum.Add(p.NearestAmplitude(each.amp));
        }
        m_sum.Add(p.ToString());
        m_sum.Add(p.ChangeCount());
        m_sum.Add(p.CycleCount());
        for (const float value : {p.TrainLength(), p.PeriodUsec(), p.Period(), p.Frequency(), p.AmpMax(),
                                  p.MaxAmp(), p.MaxAbsAmp(), p.TrainPeriodMismatch(Stim::WithSign),
                                  p.TrainPeriodMismatchPct(), p.PeriodTrimmed(-1), p.FirstActiveTime()})
            m_sum.Add(value);
    }

    void AddPlay()
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

    Generator m_random;
    Checksum& m_sum;
    float m_ampStep = 0;
    std::unique_ptr<StimPattern> m_pattern;
    LillyPattern* m_lilly = nullptr;  // the pattern, when it is one
};

}  // namespace

int main(int argc, char** argv)
{
    const unsigned long patterns = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 20000;
    Checksum sum;
    for (unsigned long i = 0; i < patterns; ++i) Life(i, sum).Run();
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(sum.Value()));
    std::printf("%s\n", text);
    if (argc < 3 || std::strcmp(text, argv[2]) == 0) return 0;
    std::fprintf(stderr, "%lu patterns: expected %s\n", patterns, argv[2]);
    return 1;
}
