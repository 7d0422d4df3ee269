#include "Sequence.h"

#include <algorithm>
#include <cmath>

#include "NumberFormat.h"

namespace preview {
namespace {

// How many values a range has, as a number that may be too large for any int.
double CountOf(const std::optional<Range>& range)
{
    constexpr double Hair = 1e-9;  // of a step: decimal steps are not exact in binary
    return range ? std::floor(std::fabs(range->to - range->from) / range->step + Hair) + 1 : 1;
}

double ValueOf(const Range& range, std::size_t i)
{
    return range.from + (range.to < range.from ? -1 : 1) * static_cast<double>(i) * range.step;
}

// Makes of each design one per value of the range. In the name it stands in whole steps, as in the text, if there is a
// step.
void Sweep(const std::optional<Range>& range, double DesignRequest::*value, const char* unit, double step,
           std::vector<DesignRequest>& designs)
{
    if (!range) return;
    std::vector<DesignRequest> swept;
    const auto count = static_cast<std::size_t>(CountOf(range));
    for (const DesignRequest& design : designs)
        for (std::size_t i = 0; i < count; ++i) {
            DesignRequest& one = swept.emplace_back(design);
            one.*value = ValueOf(*range, i);
            const double named = step > 0 ? std::round(one.*value / step) * step : one.*value;
            one.name += "-" + Shortest(static_cast<float>(named)) + unit;
        }
    designs = std::move(swept);
}

class TrainWriter
{
 public:
    TrainWriter(const SequenceRequest& request, const Stimulator& stimulator, const DesignRequest& train,
                std::vector<DesignRequest>& designs)
        : m_request(request), m_stimulator(stimulator), m_train(train), m_designs(designs)
    {}

    std::optional<SequenceFault> Write()
    {
        const bool ramps = m_request.rampUp > 0 || m_request.rampDown > 0;
        const double pulses = CyclesOf(m_train) * m_train.burst;
        if (std::isinf(pulses) && (m_request.rampDown > 0 || m_request.times > 1))
            return SequenceFault::Endless;
        const double ramped = static_cast<double>(m_request.rampUp) + static_cast<double>(m_request.rampDown);
        if (ramped > pulses) return SequenceFault::RampTooLong;
        for (std::int64_t i = 0; i < m_request.times; ++i) {
            if (i > 0 && m_request.offMsec > 0) Add("-off").pauseMsec = m_request.offMsec;
            Ramp(m_request.rampUp, "-up", true);
            if (!ramps)
                m_designs.push_back(m_train);
            else if (std::isinf(pulses))
                Add("");
            else if (ramped < pulses)
                Add("").pulses = static_cast<std::int64_t>(pulses - ramped);
            Ramp(m_request.rampDown, "-down", false);
            if (m_designs.size() > MaxDesigns) return SequenceFault::TooLong;
        }
        return std::nullopt;
    }

 private:
    DesignRequest& Add(const std::string& suffix)
    {
        DesignRequest& design = m_designs.emplace_back(m_train);
        design.name += suffix;
        return design;
    }

    // Pulse k of n, counted from the lower end of a ramp, has k / (n + 1) of the amplitude, in whole steps and at least
    // one; the pulses of a burst count as one.
    void Ramp(std::int64_t pulses, const char* suffix, bool up)
    {
        const std::int64_t count = pulses / m_train.burst;
        const auto amplitude = [&](std::int64_t k) { return AmplitudeOf(up ? k : count + 1 - k, count); };
        for (std::int64_t first = 1; first <= count;) {
            const double ampUa = amplitude(first);
            std::int64_t same = first;  // the last one that is known to have this amplitude
            for (std::int64_t other = count + 1; other - same > 1;) {
                const std::int64_t middle = same + (other - same) / 2;
                (amplitude(middle) == ampUa ? same : other) = middle;
            }
            DesignRequest& design = Add(suffix + ("-" + Shortest(static_cast<float>(ampUa))) + "uA");
            design.amplitudeUa = ampUa;
            if (m_train.amplitudeUa > 0) design.amplitude2Ua *= ampUa / m_train.amplitudeUa;
            design.pulses = (same + 1 - first) * m_train.burst;
            first = same + 1;
        }
    }

    double AmplitudeOf(std::int64_t k, std::int64_t count) const
    {
        const auto step = static_cast<double>(m_stimulator.ampStepUa);
        const double part = static_cast<double>(k) / static_cast<double>(count + 1);
        return std::max(std::round(m_train.amplitudeUa * part / step), 1.0) * step;
    }

    const SequenceRequest& m_request;
    const Stimulator& m_stimulator;
    const DesignRequest& m_train;
    std::vector<DesignRequest>& m_designs;
};

}  // namespace

std::optional<SequenceFault> MakeSequence(const SequenceRequest& request, const Stimulator& stimulator,
                                          std::vector<DesignRequest>& designs)
{
    designs.clear();
    const int burst = request.pulse.burst;
    if (request.pulse.pulses % burst != 0 || request.rampUp % burst != 0 || request.rampDown % burst != 0)
        return SequenceFault::PartBurst;
    const double count =
        CountOf(request.amplitudeUa) * CountOf(request.frequencyHz) * CountOf(request.phase1Usec);
    if (!(count * static_cast<double>(request.times) <= static_cast<double>(MaxDesigns)))
        return SequenceFault::TooLong;
    const auto ampStep = static_cast<double>(stimulator.ampStepUa);
    if (CountOf(request.amplitudeUa) > 1 && request.amplitudeUa->step < ampStep * (1 - 1e-6))
        return SequenceFault::FineSweep;
    std::vector<DesignRequest> trains{request.pulse};
    Sweep(request.amplitudeUa, &DesignRequest::amplitudeUa, "uA", ampStep, trains);
    Sweep(request.frequencyHz, &DesignRequest::frequencyHz, "Hz", 0, trains);
    Sweep(request.phase1Usec, &DesignRequest::phase1Usec, "us", 0, trains);
    for (const DesignRequest& train : trains)
        if (const auto fault = TrainWriter(request, stimulator, train, designs).Write()) return fault;
    return std::nullopt;
}

}  // namespace preview
