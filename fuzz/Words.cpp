// Any words into the playback: no crash, and output that is bounded and adds up.

#include <cmath>
#include <vector>

#include "Fuzz.h"
#include "Playback.h"
#include "StimAtom.h"

namespace {

// A word packs to itself again, except for a magnitude above the output range and the polarity of a zero.
void CheckUnpack(unsigned int bits)
{
    const playback::Word word = playback::Unpack(bits);
    const StimAtom atom(word.ampSteps, word.timeSteps, word.ampAfterSplit, word.splitUsec, word.inPulse,
                        word.flag14);
    unsigned int packed = 0;
    Require(atom.WriteCmd(&packed), "a word is packed");
    const bool magnitudeFits = std::abs(word.ampSteps) <= static_cast<int>(StimAtom::MaxAmpSteps);
    const unsigned int mask = word.ampSteps == 0 ? ~0x80U : magnitudeFits ? ~0U : ~0x7FU;
    Require((packed & mask) == (bits & mask), "a word unpacks to its fields");
}

void CheckOrder(const std::vector<playback::Segment>& segments, double period)
{
    double at = 0;
    for (const playback::Segment& segment : segments) {
        Require(segment.durationUsec > 0, "no segment is empty");
        Require(std::fabs(segment.startUsec - at) <= 1e-9 * period, "no gap and no overlap");
        Require((segment.currentUa != 0) == (segment.kind == playback::Kind::Current),
                "a pause has no current");
        at = segment.startUsec + segment.durationUsec;
    }
    Require(std::fabs(at - period) <= 1e-9 * period, "the segments fill the cycle");
}

void CheckPlayback(const std::vector<unsigned int>& words, const playback::Scale& scale)
{
    const std::vector<playback::Segment> segments = playback::Segments(words, scale);
    const std::vector<playback::Segment> joined = playback::Joined(segments);
    Require(segments.size() <= 2 * words.size(), "a word gives two segments at most");
    Require(joined.size() <= segments.size(), "joining adds no segment");
    const double period = playback::PeriodUsec(words, scale);
    const playback::Charge charge = playback::ChargeOf(words, scale);
    if (!(scale.timeStepUsec > 1e-6 && scale.timeStepUsec < 1e9 && std::fabs(scale.ampStepUa) < 1e9)) return;
    CheckOrder(segments, period);
    CheckOrder(joined, period);
    for (std::size_t i = 1; i < joined.size(); ++i)
        Require(joined[i].currentUa != joined[i - 1].currentUa, "neighbours of equal current are joined");
    Require(charge.positiveNc >= 0 && charge.negativeNc <= 0, "charges have their sign");
    const double most = 127 * std::fabs(scale.ampStepUa) * period * 1e-3;
    Require(charge.positiveNc - charge.negativeNc <= most * 1.000001,
            "no more charge than the largest current gives");
    auto whole = joined.begin();
    for (const playback::Segment& segment : segments) {
        const double middle = segment.startUsec + segment.durationUsec / 2;
        while (whole != joined.end() && middle >= whole->startUsec + whole->durationUsec) ++whole;
        Require(whole != joined.end() && whole->currentUa == segment.currentUa, "joining keeps the current");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // A split point may lie beyond the short time steps.
    static constexpr double TimeSteps[] = {33.333332, 20, 5, 1};
    FuzzedDataProvider in(data, size);
    const double any = in.ConsumeBool() ? static_cast<double>(AnyFloat(in)) : 0;
    const playback::Scale scale{any != 0 ? any : in.PickValueInArray(TimeSteps),
                                any != 0 ? static_cast<double>(AnyFloat(in)) : 10};
    std::vector<unsigned int> words;
    while (in.remaining_bytes() > 0 && words.size() < 2048)
        words.push_back(in.ConsumeIntegral<unsigned int>());
    for (const unsigned int word : words) CheckUnpack(word);
    if (playback::Refusal(words).empty())
        CheckPlayback(words, scale);
    else
        playback::Joined(playback::Segments(words, scale));
    return 0;
}
