#include "Design.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace preview {
namespace {

// The period grows for lengths that are set before the frequency is.
constexpr bool ExtendPeriod = true;

float Sign(const DesignRequest& request)
{
    return request.polarity == Stim::NegativeFirst ? -1.0f : 1.0f;
}

void Set(LillyPattern& pattern, const DesignRequest& request)
{
    pattern.SetPolarity(request.polarity);
    pattern.SetPhase1Len(request.phase1Usec, ExtendPeriod);
    pattern.SetIPI(request.ipiUsec, ExtendPeriod);
    pattern.SetChargeBalanceMode(request.balance);
    pattern.SetPhase1Amp(Sign(request) * request.amplitudeUa);
    if (!pattern.BalanceEnabled()) {
        pattern.SetPhase2Len(request.phase2Usec, ExtendPeriod);
        pattern.SetPhase2Amp(-Sign(request) * request.amplitude2Ua);
    }
    pattern.SetOffset(request.offsetMsec, ExtendPeriod);
    pattern.SetFrequency(request.frequencyHz);
    pattern.SetTrainLength(request.trainMsec);
}

class Changes
{
 public:
    explicit Changes(std::vector<DesignChange>& changes) : m_changes(changes) {}

    void Compare(DesignChange::Item item, float asked, float got, int phase = -1)
    {
        constexpr float Rounding = 1e-6f;  // of the value: what single precision does to it on the way
        if (asked != got && !(std::fabs(asked - got) <= Rounding * std::fabs(asked)))
            m_changes.push_back({item, phase, asked, got});
    }

    void CompareRequest(const DesignRequest& request, LillyPattern& pattern)
    {
        Compare(DesignChange::Phase1, request.phase1Usec, pattern.Phase1Len());
        Compare(DesignChange::IPI, request.ipiUsec, pattern.IPI());
        Compare(DesignChange::Balance, static_cast<float>(request.balance),
                static_cast<float>(pattern.BalanceMode()));
        Compare(DesignChange::Amplitude, request.amplitudeUa, Sign(request) * pattern.Phase1Amp());
        if (!pattern.BalanceEnabled()) {
            Compare(DesignChange::Phase2, request.phase2Usec, pattern.Phase2Len());
            Compare(DesignChange::Amplitude2, request.amplitude2Ua, -Sign(request) * pattern.Phase2Amp());
        }
        Compare(DesignChange::Offset, request.offsetMsec, pattern.Offset());
        Compare(DesignChange::Frequency, request.frequencyHz, pattern.Frequency());
        if (!(pattern.IsContinuous() && std::isinf(request.trainMsec)))
            Compare(DesignChange::Train, request.trainMsec, pattern.TrainLength());
    }

    void CompareReading(const StimPattern& set, const StimPattern& read)
    {
        const int count = std::min(set.PhaseCount(), read.PhaseCount());
        for (int i = 0; i < count; ++i) {
            Compare(DesignChange::ReadLength, set.PhaseLen(i), read.PhaseLen(i), i);
            Compare(DesignChange::ReadAmplitude, set.PhaseAmp(i), read.PhaseAmp(i), i);
        }
        if (!(set.IsContinuous() && read.IsContinuous()))
            Compare(DesignChange::ReadTrain, set.TrainLength(), read.TrainLength());
        Compare(DesignChange::ReadFrequency, set.Frequency(), read.Frequency());
        Compare(DesignChange::ReadCycles, static_cast<float>(set.CycleCount()),
                static_cast<float>(read.CycleCount()));
    }

 private:
    std::vector<DesignChange>& m_changes;
};

}  // namespace

void MakeDesign(const DesignRequest& request, Design& design)
{
    design.text.clear();
    design.changes.clear();
    AnyPattern made = MakePattern(design.report.stimulator);
    auto& pattern = std::get<LillyPattern>(made);
    try {
        Set(pattern, request);
        design.repairable = true;
    } catch (const std::out_of_range&) {
        design.repairable = false;
        return;
    }
    Changes changes(design.changes);
    changes.CompareRequest(request, pattern);
    design.text = "Lilly:" + pattern.ToString();
    ReportOn(design.text, {}, Reading::Strict, design.report);
    if (design.report.encoding.Encoded())
        changes.CompareReading(pattern, Base(design.report.encoding.pattern));
}

}  // namespace preview
