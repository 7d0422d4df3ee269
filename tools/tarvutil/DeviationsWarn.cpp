#include <algorithm>
#include <cmath>

#include "Deviations.h"
#include "DeviationsReplay.h"
#include "Figures.h"
#include "Output.h"

namespace {

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

// Whether all numbers of the field are such that a float holds them as they are written, and that the text reader
// does not round: whole ones of at most seven digits, perhaps with zeros behind a point.
bool HoldsWholeNumbers(std::string_view field)
{
    int digits = 0;
    bool fraction = false;
    for (const char c : field) {
        if (IsDigit(c)) {
            if (fraction ? c != '0' : ++digits > 7) return false;
        } else if (c == '.') {
            fraction = true;
        } else {
            if (c != ',' && c != '(' && c != ')' && c != '-' && c != '+' && c != ' ') return false;
            digits = 0;
            fraction = false;
        }
    }
    return true;
}

bool AsWritten(const Reading& reading)
{
    return reading.warnings.empty() && HoldsWholeNumbers(reading.fields.phases);
}

constexpr double Smallest = 0.49;  // microseconds, and of an amplitude step: safely below what is notable

// As a finding asks: the train differs, and not by the length of its period alone.
bool CyclesMayDeviate(double cycles, double periodAsked, double periodPlayed, double trainMsec)
{
    const double train = trainMsec * 1000;
    return !(std::fabs(cycles * periodAsked - train) < Smallest) &&
           !(std::fabs(cycles * periodPlayed - train) < Smallest);
}

// What the words do to the list, each cause by itself and all together.
class Tally
{
 public:
    // asked is the start of the phase in the list.
    bool Enough(const Placement& at, double asked)
    {
        (at.gainedUsec < 0 ? m_dropped : m_gained) += at.gainedUsec;
        return Large(m_dropped) || Large(m_gained) || Large(at.takenUsec) || Large(at.paddedUsec) ||
               Enough(at.junction) || Enough(at.tail) || (!at.lost && Large(at.startUsec - asked));
    }

    static bool Large(double usec) { return !(std::fabs(usec) < Smallest); }

 private:
    static bool Enough(const SharedStep& step)
    {
        return Large(step.cutUsec) || Large(step.errorUsec) || Large(step.lengthenedUsec);
    }

    double m_dropped = 0;
    double m_gained = 0;
};

// Follows the words of the list that was read, which must be the one that the pattern holds.
bool WordsMayDeviate(const playback::Scale& scale, const Reading& reading, const StimPattern& pattern)
{
    WordReplay replay(scale, &reading.words);
    Tally tally;
    double asked = 0;
    for (std::size_t i = 0; i < reading.phases.size(); ++i) {
        const phase& p = reading.phases[i];
        const phase* held = pattern.Phase(static_cast<int>(i));
        if (held == nullptr || held->len != p.len || held->amp != p.amp) return true;
        Placement at;
        if (!replay.Take(p, i + 1 == reading.phases.size(), at) || tally.Enough(at, asked)) return true;
        if (Tally::Large(static_cast<double>(p.amp) / scale.ampStepUa - at.ampSteps)) return true;
        asked += static_cast<double>(p.len);
    }
    if (Tally::Large(replay.PlayedUsec() - asked) || !replay.AllWordsTaken()) return true;
    const double trainMsec = AskedTrainMsec(reading.fields);
    if (pattern.IsContinuous()) return !std::isinf(trainMsec);
    return CyclesMayDeviate(pattern.CycleCount(), asked, replay.PlayedUsec(), trainMsec);
}

}  // namespace

bool MayDeviate(const Stimulator& stimulator, const Reading& reading)
{
    return !AsWritten(reading) || WordsMayDeviate(stimulator.Scale(), reading, Base(reading.pattern));
}

void SayDeviations(Output& output, const Stimulator& stimulator, const Reading& reading)
{
    const Deviations deviations = DeviationsOf(stimulator, reading);
    bool told = false;
    for (const Finding& finding : deviations.findings) {
        if (finding.cause == Cause::AmplitudeRead || !finding.Notable(stimulator)) continue;
        Say(output, reading.place, "warning: " + finding.text);
        told = true;
    }
    if (!told && deviations.Notable())
        Say(output, reading.place,
            "warning: small deviations add up: phase " + std::to_string(deviations.LargestError()) +
                " starts " + Rounded(deviations.LargestErrorUsec()) +
                " us from where it was asked to, the cycle ends " + Rounded(deviations.periodUsec.Error()) +
                " us from there");
}
