#include "Samples.h"

#include <algorithm>

#include "Units.h"

namespace preview {
namespace {

// Adds up the charge of one sample after the other.
class Sampler
{
 public:
    Sampler(double rateHz, const VisitSample& visit) : m_lengthUsec(UsecPerSecond / rateHz), m_visit(visit) {}

    // The next stretch of the train. Samples get the stretch's own duration, without the rounding of its place in a long
    // train, so that no charge is lost.
    void Add(double startUsec, double durationUsec, double currentUa)
    {
        constexpr double NoiseUsec = 1e-6;  // a rest as short as this begins no sample
        double left = durationUsec;
        double part = EndOfSample() - startUsec;
        while (part < left - NoiseUsec) {
            part = std::max(part, 0.0);
            m_charge += currentUa * part;
            left -= part;
            Emit();
            part = m_lengthUsec;
        }
        m_charge += currentUa * left;
        m_filled = true;
    }

    void Finish()
    {
        if (m_filled) Emit();
    }

 private:
    double EndOfSample() const { return (m_index + 1) * m_lengthUsec; }

    void Emit()
    {
        m_visit(m_index * m_lengthUsec, m_charge / m_lengthUsec);
        ++m_index;
        m_charge = 0;
        m_filled = false;
    }

    const double m_lengthUsec;
    const VisitSample& m_visit;
    double m_index = 0;  // whole: exact up to 2^53 samples
    double m_charge = 0;
    bool m_filled = false;
};

}  // namespace

Train TrainOf(const std::vector<unsigned int>& words, const playback::Scale& scale, std::int64_t cycles)
{
    return {playback::Joined(playback::Segments(words, scale)), playback::PeriodUsec(words, scale), cycles};
}

void ForEachStretch(const Train& train, const VisitStretch& visit)
{
    if (train.cycle.empty()) return;  // however many cycles of nothing
    for (std::int64_t cycle = 0; cycle < train.cycles; ++cycle) {
        const double start = static_cast<double>(cycle) * train.periodUsec;
        for (const playback::Segment& segment : train.cycle)
            visit(start + segment.startUsec, segment.durationUsec, segment.currentUa);
    }
}

void ForEachSample(const Train& train, double rateHz, const VisitSample& visit)
{
    Sampler sampler(rateHz, visit);
    ForEachStretch(train, [&](double startUsec, double durationUsec, double currentUa) {
        sampler.Add(startUsec, durationUsec, currentUa);
    });
    sampler.Finish();
}

}  // namespace preview
