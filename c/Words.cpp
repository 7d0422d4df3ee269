#include <cmath>

#include "Calls.h"
#include "Json.h"
#include "Playback.h"
#include "Samples.h"

using namespace capi;

namespace {

// A word array of the caller, with the units that its words are for.
struct CallersWords
{
    CallersWords(const uint32_t* array, int32_t count, float timeStepUsec, float ampStepUa)
        : scale{static_cast<double>(timeStepUsec), static_cast<double>(ampStepUa)}
    {
        Check(count > 0, "count: not above 0");
        Need(array, "words");
        Check(std::isfinite(timeStepUsec) && timeStepUsec > 0, "time_step_us: not a finite number above 0");
        Check(std::isfinite(ampStepUa) && ampStepUa > 0, "amp_step_ua: not a finite number above 0");
        words.assign(array, array + count);
        refusal = playback::Refusal(words);
    }

    // Nobody gets a text of these functions: the JSON has it.
    void NeedWordArray() const
    {
        if (!refusal.empty()) throw Error{TARVUTIL_REFUSED, refusal};
    }

    std::vector<unsigned int> words;
    playback::Scale scale;
    std::string refusal;  // empty for a word array
};

}  // namespace

int32_t tarvutil_segments(const uint32_t* words, int32_t count, float time_step_us, float amp_step_ua,
                          double* starts_us, double* durations_us, double* currents_ua, int32_t* word_indices,
                          int32_t capacity)
{
    std::string error;
    return Run(error, [&] {
        const CallersWords given(words, count, time_step_us, amp_step_ua);
        given.NeedWordArray();
        const auto segments = playback::Segments(given.words, given.scale);
        const bool fits =
            Fits(segments.size(), starts_us, capacity) && Fits(segments.size(), durations_us, capacity) &&
            Fits(segments.size(), currents_ua, capacity) && Fits(segments.size(), word_indices, capacity);
        for (std::size_t i = 0; fits && i < segments.size(); ++i) {
            starts_us[i] = segments[i].startUsec;
            durations_us[i] = segments[i].durationUsec;
            currents_ua[i] = segments[i].currentUa;
            word_indices[i] = Count(segments[i].word);
        }
        return Count(segments.size());
    });
}

int32_t tarvutil_segments_json(const uint32_t* words, int32_t count, float time_step_us, float amp_step_ua,
                               char* text, int32_t capacity)
{
    std::string error;
    return Run(error, [&] {
        const CallersWords given(words, count, time_step_us, amp_step_ua);
        return Put(given.refusal.empty() ? preview::SegmentsJson(time_step_us, amp_step_ua, given.words, {})
                                         : preview::ErrorJson({given.refusal}, {}),
                   text, capacity);
    });
}

int32_t tarvutil_samples(const uint32_t* words, int32_t count, float time_step_us, float amp_step_ua,
                         int64_t cycles, double rate_hz, double* currents_ua, int32_t capacity)
{
    std::string error;
    return Run(error, [&] {
        const CallersWords given(words, count, time_step_us, amp_step_ua);
        given.NeedWordArray();
        Check(cycles >= 0, "cycles: below 0");
        Check(std::isfinite(rate_hz) && rate_hz > 0, "rate_hz: not a finite number above 0");
        const preview::Train train =
            preview::TrainOf(given.words, given.scale, cycles > 0 ? cycles : playback::CyclesOf(words[0]));
        constexpr double Most = 2147483646;
        const double stretches = static_cast<double>(train.cycles) * static_cast<double>(train.cycle.size());
        if (!(train.EndUsec() / 1e6 * rate_hz < Most && stretches < Most))
            throw Error{TARVUTIL_FAILED, "there would be more samples or stretches than 32 bits can count"};
        std::size_t samples = 0;
        ForEachSample(train, rate_hz, [&](double, double) { ++samples; });
        if (!Fits(samples, currents_ua, capacity)) return Count(samples);
        double* next = currents_ua;
        ForEachSample(train, rate_hz, [&](double, double currentUa) { *next++ = currentUa; });
        return Count(samples);
    });
}
