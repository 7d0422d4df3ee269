#include <algorithm>
#include <climits>
#include <cmath>
#include <memory>
#include <stdexcept>
#include <vector>

#include "Calls.h"
#include "ContinuedItemPlay.h"
#include "Handles.h"
#include "Sentences.h"

using namespace capi;

struct tarvutil_play
{
    std::shared_ptr<SharedPattern> shared;
    ContinuedItemPlay play;
    mutable std::string error;  // also of functions that read
};

namespace {

std::vector<phase> Phases(const float* lengths, const float* amplitudes, std::int32_t count)
{
    Check(count >= 0, "count: below 0");
    if (count > 0) Need(lengths, "lengths_us");
    if (count > 0) Need(amplitudes, "amplitudes_ua");
    std::vector<phase> phases;
    phases.reserve(static_cast<std::size_t>(count));
    for (std::int32_t i = 0; i < count; ++i) {
        Check(std::isfinite(lengths[i]), "lengths_us: not all are finite");
        Check(std::isfinite(amplitudes[i]), "amplitudes_ua: not all are finite");
        phases.push_back({lengths[i], amplitudes[i]});
    }
    return phases;
}

void CheckLength(float length)
{
    Check(std::isfinite(length), "length_us: not finite");
    Check(length >= 0, "length_us: below 0");
}

void CheckPhase(float length, float amplitude)
{
    CheckLength(length);
    Check(std::isfinite(amplitude), "amplitude_ua: not finite");
}

void CheckIndex(const tarvutil_pattern& p, std::int32_t index)
{
    if (index < 0 || index >= p.Pattern().PhaseCount())
        throw Error{TARVUTIL_BAD_ARGUMENT,
                    "index: " + std::to_string(index) + " is not the index of a phase"};
}

std::int32_t Taken(bool taken)
{
    if (!taken) throw Error{TARVUTIL_REFUSED, "the pattern refuses the edit"};
    return TARVUTIL_OK;
}

double Value(const tarvutil_pattern& p, std::int32_t parameter)
{
    StimPattern& pattern = p.Pattern();
    const auto lilly = [&](float (LillyPattern::*get)()) { return static_cast<double>((p.Lilly().*get)()); };
    switch (parameter) {
        case TARVUTIL_TIME_STEP_US:
            return static_cast<double>(p.shared->stimulator.timeStepUsec);
        case TARVUTIL_PERIOD_US:
            return static_cast<double>(pattern.PeriodUsec());
        case TARVUTIL_MAX_OFFSET_US:
            return lilly(&LillyPattern::MaxOffset);
        case TARVUTIL_END_US:
            return lilly(&LillyPattern::EndLen);
        case TARVUTIL_TRAIN_MISMATCH_MS:
            return static_cast<double>(pattern.TrainPeriodMismatch(Stim::WithSign));
        case TARVUTIL_MAX_AMP_UA:
            return pattern.PhaseCount() == 0 ? 0.0 : static_cast<double>(pattern.MaxAmp());
        case TARVUTIL_MIN_AMP_UA:
            return pattern.PhaseCount() == 0 ? 0.0 : static_cast<double>(pattern.MinAmp());
        case TARVUTIL_PHASE_COUNT:
            return pattern.PhaseCount();
        case TARVUTIL_CHANGE_COUNT:
            return pattern.ChangeCount();
        case TARVUTIL_UPDATE_COUNT:
            return pattern.UpdateCount();
        case TARVUTIL_MAX_WORDS:
            return pattern.MaxCmds();
        case TARVUTIL_CONTINUOUS:
            return pattern.IsContinuous() ? 1 : 0;
        case TARVUTIL_AMP_STEP_UA:
            return static_cast<double>(pattern.AmpStepSize());
        case TARVUTIL_AMP_MAX_UA:
            return static_cast<double>(pattern.AmpMax());
        case TARVUTIL_PERIOD_MS:
            return static_cast<double>(pattern.Period());
        case TARVUTIL_FREQUENCY_HZ:
            return static_cast<double>(pattern.Frequency());
        case TARVUTIL_TRAIN_MS:
            // The largest float stands for a train without end.
            return pattern.IsContinuous() ? HUGE_VAL : static_cast<double>(pattern.TrainLength());
        case TARVUTIL_CYCLES:
            return pattern.CycleCount();
        case TARVUTIL_OFFSET_MS:
            return lilly(&LillyPattern::Offset);
        case TARVUTIL_IPI_US:
            return lilly(&LillyPattern::IPI);
        case TARVUTIL_PHASE1_US:
            return lilly(&LillyPattern::Phase1Len);
        case TARVUTIL_PHASE2_US:
            return lilly(&LillyPattern::Phase2Len);
        case TARVUTIL_PHASE1_UA:
            return lilly(&LillyPattern::Phase1Amp);
        case TARVUTIL_PHASE2_UA:
            return lilly(&LillyPattern::Phase2Amp);
        case TARVUTIL_POLARITY:
            return p.Lilly().Polarity();
        case TARVUTIL_BALANCE_MODE:
            return p.Lilly().BalanceMode();
        default:
            throw Error{TARVUTIL_BAD_ARGUMENT,
                        "parameter: " + std::to_string(parameter) + " is not a parameter"};
    }
}

int Whole(double value, int low, int high)
{
    if (!(value >= low && value <= high) || value != std::floor(value))
        throw Error{TARVUTIL_BAD_ARGUMENT,
                    "value: not a whole number from " + std::to_string(low) + " to " + std::to_string(high)};
    return static_cast<int>(value);
}

void Set(const tarvutil_pattern& p, std::int32_t parameter, double value, bool extend)
{
    StimPattern& pattern = p.Pattern();
    const auto number = static_cast<float>(value);
    const bool endless = parameter == TARVUTIL_TRAIN_MS && value > 0 && std::isinf(value);
    Check(endless || std::isfinite(number), "value: not finite in single precision");
    const bool length = parameter >= TARVUTIL_OFFSET_MS && parameter <= TARVUTIL_PHASE2_US;
    Check(!length || number >= 0, "value: the length is below 0");
    switch (parameter) {
        case TARVUTIL_AMP_STEP_UA:
            Check(number > 0, "value: the amplitude step is not above 0");
            return pattern.SetAmpStepSize(number, false);
        case TARVUTIL_AMP_MAX_UA:
            Check(number >= 0, "value: the largest amplitude is below 0");
            return pattern.SetAmpMax(number);
        case TARVUTIL_PERIOD_MS:
            Check(number > 0, "value: the period is not above 0");
            pattern.SetPeriod(number);
            return;
        case TARVUTIL_FREQUENCY_HZ:
            Check(number > 0, "value: the frequency is not above 0");
            pattern.SetFrequency(number);
            return;
        case TARVUTIL_TRAIN_MS:
            Check(number > 0, "value: the train is not above 0");
            pattern.SetTrainLength(number);
            return;
        case TARVUTIL_CYCLES:
            return pattern.SetCycleCount(Whole(value, 1, INT_MAX));
        case TARVUTIL_OFFSET_MS:
            p.Lilly().SetOffset(number, extend);
            return;
        case TARVUTIL_IPI_US:
            p.Lilly().SetIPI(number, extend);
            return;
        case TARVUTIL_PHASE1_US:
            p.Lilly().SetPhase1Len(number, extend);
            return;
        case TARVUTIL_PHASE2_US:
            p.Lilly().SetPhase2Len(number, extend);
            return;
        case TARVUTIL_PHASE1_UA:
            return p.Lilly().SetPhase1Amp(number);
        case TARVUTIL_PHASE2_UA:
            return p.Lilly().SetPhase2Amp(number);
        case TARVUTIL_POLARITY:
            return p.Lilly().SetPolarity(static_cast<Stim::Polarity>(Whole(value, 0, 1)));
        case TARVUTIL_BALANCE_MODE:
            return p.Lilly().SetChargeBalanceMode(Whole(value, 0, 4));
        default:
            throw Error{TARVUTIL_BAD_ARGUMENT,
                        "parameter: " + std::to_string(parameter) + " is not a parameter that can be set"};
    }
}

}  // namespace

tarvutil_pattern* tarvutil_pattern_new(int32_t kind, float time_step_us, float amp_step_ua, float amp_max_ua,
                                       int32_t budget, char* reason, int32_t capacity)
{
    return New(reason, capacity, [&] {
        Check(kind == TARVUTIL_LILLY || kind == TARVUTIL_PLAIN,
              "kind: neither TARVUTIL_LILLY nor TARVUTIL_PLAIN");
        preview::Stimulator stimulator;
        stimulator.pattern =
            kind == TARVUTIL_PLAIN ? preview::PatternKind::Plain : preview::PatternKind::Lilly;
        stimulator.timeStepUsec = time_step_us;
        stimulator.ampStepUa = amp_step_ua;
        stimulator.ampMaxUa = amp_max_ua;
        stimulator.budget = budget;
        if (const auto unusable = stimulator.Unusable())
            throw Error{TARVUTIL_BAD_ARGUMENT, Sentence(stimulator, *unusable)};
        return new tarvutil_pattern{std::make_shared<SharedPattern>(stimulator), {}, {}, {}};
    });
}

tarvutil_pattern* tarvutil_pattern_copy_new(const tarvutil_pattern* pattern, char* reason, int32_t capacity)
{
    return New(reason, capacity, [&] {
        if (pattern == nullptr) throw Error{TARVUTIL_NULL_HANDLE, "the pattern is null"};
        return new tarvutil_pattern{std::make_shared<SharedPattern>(*pattern->shared), {}, {}, {}};
    });
}

int32_t tarvutil_pattern_free(tarvutil_pattern* pattern)
{
    delete pattern;
    return TARVUTIL_OK;
}

int32_t tarvutil_pattern_error(const tarvutil_pattern* pattern, char* text, int32_t capacity)
{
    return PutError(pattern, text, capacity);
}

int32_t tarvutil_pattern_get(tarvutil_pattern* pattern, int32_t parameter, double* value)
{
    return On(pattern, [&](tarvutil_pattern& p) {
        Need(value, "value");
        *value = Value(p, parameter);
        return TARVUTIL_OK;
    });
}

int32_t tarvutil_pattern_set(tarvutil_pattern* pattern, int32_t parameter, double value,
                             int32_t extend_period, double* in_effect)
{
    return On(pattern, [&](tarvutil_pattern& p) {
        try {
            Set(p, parameter, value, extend_period != 0);
        } catch (const std::out_of_range&) {
            throw Error{TARVUTIL_REFUSED, "the pattern does not have the phases that this changes"};
        }
        if (in_effect != nullptr) *in_effect = Value(p, parameter);
        return TARVUTIL_OK;
    });
}

int32_t tarvutil_pattern_rescale(tarvutil_pattern* pattern, float amp_step_ua)
{
    return On(pattern, [&](tarvutil_pattern& p) {
        Check(std::isfinite(amp_step_ua) && amp_step_ua > 0, "amp_step_ua: not a finite number above 0");
        p.Pattern().SetAmpStepSize(amp_step_ua, true);
        return TARVUTIL_OK;
    });
}

int32_t tarvutil_pattern_label(tarvutil_pattern* pattern, char* text, int32_t capacity)
{
    return On(pattern, [&](tarvutil_pattern& p) { return Put(p.Pattern().Label(), text, capacity); });
}

int32_t tarvutil_pattern_set_label(tarvutil_pattern* pattern, const char* text, int32_t length)
{
    return On(pattern, [&](tarvutil_pattern& p) {
        p.Pattern().SetLabel(std::string(Text(text, length)));
        return TARVUTIL_OK;
    });
}

int32_t tarvutil_pattern_phases(tarvutil_pattern* pattern, float* lengths_us, float* amplitudes_ua,
                                int32_t capacity)
{
    return On(pattern, [&](tarvutil_pattern& p) {
        const int count = p.Pattern().PhaseCount();
        const bool lengths = Fits(static_cast<std::size_t>(count), lengths_us, capacity);
        const bool amplitudes = Fits(static_cast<std::size_t>(count), amplitudes_ua, capacity);
        for (int i = 0; lengths && amplitudes && i < count; ++i) {
            lengths_us[i] = p.Pattern().PhaseLen(i);
            amplitudes_ua[i] = p.Pattern().PhaseAmp(i);
        }
        return static_cast<std::int32_t>(count);
    });
}

int32_t tarvutil_pattern_set_phases(tarvutil_pattern* pattern, const float* lengths_us,
                                    const float* amplitudes_ua, int32_t count)
{
    return On(pattern, [&](tarvutil_pattern& p) {
        const std::vector<phase> phases = Phases(lengths_us, amplitudes_ua, count);
        if (!p.Pattern().PhasesValid(phases, p.Pattern().MaxCmds()))
            throw Error{TARVUTIL_REFUSED, "the phases do not fit the time steps or the budget"};
        p.Pattern().SetPhases(phases);
        return TARVUTIL_OK;
    });
}

int32_t tarvutil_pattern_set_phase(tarvutil_pattern* pattern, int32_t index, float length_us,
                                   float amplitude_ua)
{
    return On(pattern, [&](tarvutil_pattern& p) {
        CheckIndex(p, index);
        CheckPhase(length_us, amplitude_ua);
        return Taken(p.Pattern().SetPhase(index, {length_us, amplitude_ua}));
    });
}

int32_t tarvutil_pattern_set_length(tarvutil_pattern* pattern, int32_t index, float length_us)
{
    return On(pattern, [&](tarvutil_pattern& p) {
        CheckIndex(p, index);
        CheckLength(length_us);
        return Taken(p.Pattern().SetPhaseLen(index, length_us));
    });
}

int32_t tarvutil_pattern_set_amplitude(tarvutil_pattern* pattern, int32_t index, float amplitude_ua)
{
    return On(pattern, [&](tarvutil_pattern& p) {
        CheckIndex(p, index);
        CheckPhase(0, amplitude_ua);
        return Taken(p.Pattern().SetPhaseAmp(index, amplitude_ua));
    });
}

int32_t tarvutil_pattern_append(tarvutil_pattern* pattern, float length_us, float amplitude_ua)
{
    return On(pattern, [&](tarvutil_pattern& p) {
        CheckPhase(length_us, amplitude_ua);
        return static_cast<std::int32_t>(p.Pattern().AppendPhase(length_us, amplitude_ua));
    });
}

int32_t tarvutil_pattern_insert(tarvutil_pattern* pattern, int32_t index, float length_us, float amplitude_ua)
{
    return On(pattern, [&](tarvutil_pattern& p) {
        CheckIndex(p, index);
        CheckPhase(length_us, amplitude_ua);
        return static_cast<std::int32_t>(p.Pattern().InsertPhase(index, length_us, amplitude_ua));
    });
}

int32_t tarvutil_pattern_remove(tarvutil_pattern* pattern, int32_t index)
{
    return On(pattern, [&](tarvutil_pattern& p) {
        CheckIndex(p, index);
        return static_cast<std::int32_t>(p.Pattern().RemovePhase(index));
    });
}

int32_t tarvutil_pattern_clear(tarvutil_pattern* pattern)
{
    return On(pattern, [](tarvutil_pattern& p) {
        p.Pattern().ClearPhases();
        return TARVUTIL_OK;
    });
}

int32_t tarvutil_pattern_fits(tarvutil_pattern* pattern, const float* lengths_us, const float* amplitudes_ua,
                              int32_t count, int32_t max_words)
{
    return On(pattern, [&](tarvutil_pattern& p) {
        Check(max_words >= 0, "max_words: below 0");
        return p.Pattern().PhasesValid(Phases(lengths_us, amplitudes_ua, count), max_words) ? 1 : 0;
    });
}

int32_t tarvutil_pattern_words(tarvutil_pattern* pattern, uint32_t* words, int32_t capacity)
{
    return On(pattern, [&](tarvutil_pattern& p) -> std::int32_t {
        bool usable = false;
        try {
            // Without phases, also after a repair that leaves none, the library has words: word 0 alone, which plays
            // nothing.
            usable = p.Pattern().PhaseCount() > 0 && p.Pattern().Update() && p.Pattern().PhaseCount() > 0;
        } catch (const std::out_of_range&) {
            // A list that was cut below the phases that a repair needs.
        }
        const int count = p.Pattern().WordCount();
        if (!usable || count == 0) RefuseWords(p);
        if (Fits(static_cast<std::size_t>(count), words, capacity)) p.Pattern().WordArray(words, 0);
        return count;
    });
}

int32_t tarvutil_pattern_override(tarvutil_pattern* pattern, int32_t on, int32_t value)
{
    return On(pattern, [&](tarvutil_pattern& p) {
        Check(value >= 0 && value <= 0xFFFF, "value: not from 0 to 65535");
        p.Pattern().SetCmdOverride(on != 0, static_cast<unsigned short>(value));
        return TARVUTIL_OK;
    });
}

int32_t tarvutil_pattern_read(tarvutil_pattern* pattern, const char* text, int32_t length)
{
    return On(pattern, [&](tarvutil_pattern& p) {
        const std::string spec(Text(text, length));
        StimPattern& base = p.Pattern();
        p.errors.clear();
        p.warnings.clear();
        const float step = base.AmpStepSize();
        // FromString returns true for a list that the pattern then refuses: on an empty pattern that shows.
        preview::AnyPattern trial = p.shared->pattern;
        preview::Base(trial).ClearPhases();
        if (preview::Base(trial).FromString(spec, step, p.errors, p.warnings) &&
            preview::Base(trial).PhaseCount() == 0) {
            p.errors.emplace_back("the phases do not fit the time steps or the budget");
            throw Error{TARVUTIL_REFUSED, p.errors.back()};
        }
        p.errors.clear();
        p.warnings.clear();
        if (!base.FromString(spec, step, p.errors, p.warnings))
            throw Error{TARVUTIL_REFUSED, p.errors.empty() ? "the text has no phases" : p.errors.back()};
        return TARVUTIL_OK;
    });
}

int32_t tarvutil_pattern_message_count(const tarvutil_pattern* pattern, int32_t warnings)
{
    return On(pattern, [&](const tarvutil_pattern& p) {
        return Count((warnings != 0 ? p.warnings : p.errors).size());
    });
}

int32_t tarvutil_pattern_message(const tarvutil_pattern* pattern, int32_t warnings, int32_t index, char* text,
                                 int32_t capacity)
{
    return On(pattern, [&](const tarvutil_pattern& p) {
        const std::vector<std::string>& messages = warnings != 0 ? p.warnings : p.errors;
        if (index < 0 || static_cast<std::size_t>(index) >= messages.size())
            throw Error{TARVUTIL_BAD_ARGUMENT,
                        "index: " + std::to_string(index) + " is not the index of a message"};
        return Put(messages[static_cast<std::size_t>(index)], text, capacity);
    });
}

int32_t tarvutil_pattern_text(tarvutil_pattern* pattern, char* text, int32_t capacity)
{
    return On(pattern, [&](tarvutil_pattern& p) { return Put(p.Pattern().ToString(), text, capacity); });
}

// --- Continued play ---

namespace {

long Clock(std::int64_t msec)
{
    if (msec < LONG_MIN || msec > LONG_MAX)
        throw Error{TARVUTIL_BAD_ARGUMENT, "now_ms: does not fit the clock of this platform"};
    return static_cast<long>(msec);
}

template <typename Value, typename Read>
std::int32_t ReadPlay(const tarvutil_play* play, Value* value, const char* name, Read read) noexcept
{
    return On(play, [&](const tarvutil_play& p) {
        Need(value, name);
        *value = read(p.play);
        return TARVUTIL_OK;
    });
}

}  // namespace

tarvutil_play* tarvutil_play_new(const tarvutil_pattern* pattern, int32_t channel, int32_t cycles_started,
                                 int64_t now_ms, char* reason, int32_t capacity)
{
    return New(reason, capacity, [&] {
        if (pattern == nullptr) throw Error{TARVUTIL_NULL_HANDLE, "the pattern is null"};
        Check(cycles_started >= 0, "cycles_started: below 0");
        if (pattern->Pattern().PhaseCount() == 0) RefuseWords(*pattern);
        StimPattern** slot = &pattern->shared->slot;
        return new tarvutil_play{
            pattern->shared, ContinuedItemPlay({channel, slot}, cycles_started, Clock(now_ms)), {}};
    });
}

int32_t tarvutil_play_free(tarvutil_play* play)
{
    delete play;
    return TARVUTIL_OK;
}

int32_t tarvutil_play_error(const tarvutil_play* play, char* text, int32_t capacity)
{
    return PutError(play, text, capacity);
}

int32_t tarvutil_play_channel(const tarvutil_play* play, int32_t* channel)
{
    return ReadPlay(play, channel, "channel", [](const ContinuedItemPlay& p) { return p.Channel(); });
}

int32_t tarvutil_play_cycles_left(const tarvutil_play* play, int32_t* cycles)
{
    return ReadPlay(play, cycles, "cycles",
                    [](const ContinuedItemPlay& p) { return std::max(p.RemCycles(), 0); });
}

int32_t tarvutil_play_due(const tarvutil_play* play, int64_t* due_ms)
{
    return ReadPlay(play, due_ms, "due_ms", [](const ContinuedItemPlay& p) { return p.m_nextMsec; });
}

int32_t tarvutil_play_ready(const tarvutil_play* play, int64_t now_ms)
{
    return On(play, [&](const tarvutil_play& p) {
        return p.play.ReadyToContinue(Clock(now_ms)) && p.play.RemCycles() > 0 ? 1 : 0;
    });
}

int32_t tarvutil_play_continue(tarvutil_play* play, int64_t now_ms, uint32_t* words, int32_t capacity)
{
    return On(play, [&](tarvutil_play& p) -> std::int32_t {
        const long now = Clock(now_ms);
        const int budget = p.shared->stimulator.budget;
        if (!Fits(static_cast<std::size_t>(budget), words, capacity)) return budget;
        if (p.play.RemCycles() < 1 || !p.play.ReadyToContinue(now))
            throw Error{TARVUTIL_NOT_DUE, "no block is due, or none is left"};
        int count = -1;
        try {
            if (p.shared->slot->PhaseCount() > 0)
                count = p.play.ContinueCmds(now, reinterpret_cast<unsigned char*>(words));
        } catch (const std::out_of_range&) {
            // As for the words of the pattern.
        }
        if (count < 1) throw Error{TARVUTIL_REFUSED, "the pattern has no words: send nothing"};
        return count;
    });
}
