#include "StimPattern.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <exception>
#include <iterator>
#include <limits>
#include <string_view>
#include <utility>

#include "Assert.h"
#include "CommandWord.h"
#include "CommandWriter.h"
#include "NumberText.h"
#include "Numbers.h"
#include "SpecificationReader.h"
#include "SpecificationText.h"
#include "TimeSteps.h"
#include "WordCounter.h"

using namespace TarvUtil::Internal;

namespace {

constexpr float MsecPerSec = 1000.0f;

constexpr int ContinuousCycles = std::numeric_limits<int>::max();

constexpr int BaseTypeID = 4;

bool SamePhase(const phase& a, const phase& b)
{
    return a.len == b.len && a.amp == b.amp;
}

bool SamePhases(const std::vector<phase>& a, const std::vector<phase>& b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), SamePhase);
}

bool IsActive(const phase& p)
{
    return p.amp != 0;
}

// The same as MaxAbsAmp() != 0, but stops at the first current. A list of zeros and NaNs carries none.
bool CarriesCurrent(const std::vector<phase>& phases)
{
    return std::any_of(phases.begin(), phases.end(), [](const phase& p) { return std::fabs(p.amp) > 0; });
}

}  // namespace

StimPattern::StimPattern(int maxCmdCount, float timeStepUsec, float param2, float param3, float ampStepSize,
                         float ampMax)
    : m_timeStepUsec(timeStepUsec),
      m_param2(param2),
      m_param3(param3),
      m_ampStepSize(ampStepSize),
      m_ampMax(ampMax),
      m_maxCmdCount(maxCmdCount)
{
    if (maxCmdCount < 1) throw std::exception();
}

// Copy what can throw first; nothing after it can fail.
StimPattern& StimPattern::operator=(const StimPattern& other)
{
    if (this == &other) return *this;
    std::string label = other.m_label;
    std::vector<phase> phases = other.m_phases;
    m_timeStepUsec = other.m_timeStepUsec;
    m_param2 = other.m_param2;
    m_param3 = other.m_param3;
    m_ampStepSize = other.m_ampStepSize;
    m_ampMax = other.m_ampMax;
    m_trainLengthUsec = other.m_trainLengthUsec;
    m_roundCyclesDown = other.m_roundCyclesDown;
    m_reserved = other.m_reserved;
    m_label = std::move(label);
    std::copy(std::begin(other.m_wordArray), std::end(other.m_wordArray), std::begin(m_wordArray));
    m_maxCmdCount = other.m_maxCmdCount;
    m_wordCount = other.m_wordCount;
    m_changeCount = other.m_changeCount;
    m_updateCount = other.m_updateCount;
    m_arrayChangeCount = other.m_arrayChangeCount;
    m_cmdOverride = other.m_cmdOverride;
    m_cmdOverrideValue = other.m_cmdOverrideValue;
    m_phases = std::move(phases);
    return *this;
}

StimPattern::~StimPattern() = default;

int StimPattern::TypeID(PatternHelper* patternHelper)
{
    return patternHelper == nullptr ? -1 : BaseTypeID;
}

// --- Record ---

void StimPattern::SetLabel(std::string label)
{
    if (label == m_label) return;
    m_label = std::move(label);
    RaiseChangeCount();
}

std::string StimPattern::Label() const
{
    return m_label;
}

int StimPattern::PhaseCount() const
{
    return static_cast<int>(m_phases.size());
}

float StimPattern::PhaseLen(int i) const
{
    const phase* p = Phase(i);
    return p == nullptr ? 0.0f : p->len;
}

float StimPattern::PhaseAmp(int i) const
{
    const phase* p = Phase(i);
    return p == nullptr ? 0.0f : p->amp;
}

const phase* StimPattern::Phase(int i) const
{
    return i < 0 || i >= PhaseCount() ? nullptr : &m_phases[static_cast<std::size_t>(i)];
}

std::vector<phase> StimPattern::Phases() const
{
    return m_phases;
}

int StimPattern::WordCount() const
{
    return m_wordCount;
}

int StimPattern::UpdateCount() const
{
    return m_updateCount;
}

int StimPattern::ChangeCount() const
{
    return m_changeCount;
}

void StimPattern::Touch()
{
    RaiseChangeCount();
}

void StimPattern::RaiseChangeCount()
{
    // When the count starts again at 0, an array from before must not count as current.
    if (m_changeCount == std::numeric_limits<int>::max()) m_arrayChangeCount = NeverBuilt;
    m_changeCount = NextCount(m_changeCount);
}

bool StimPattern::operator==(const StimPattern& other) const
{
    return SamePhases(m_phases, other.m_phases);
}

// --- Amplitude scale ---

void StimPattern::SetAmpStepSize(float stepSize, bool rescale)
{
    if (rescale) {
        for (phase& p : m_phases) {
            const float steps = AmplitudeSteps(p.amp, m_ampStepSize);
            const int nearest = ToInt(steps >= 0 ? steps + 0.5f : steps - 0.5f);
            p.amp = ClampAmplitude(static_cast<float>(nearest) * stepSize, m_ampMax);
        }
    }
    m_ampStepSize = stepSize;
}

float StimPattern::AmpStepSize() const
{
    return m_ampStepSize;
}

void StimPattern::SetAmpMax(float ampMax)
{
    m_ampMax = std::fabs(ampMax);
    for (phase& p : m_phases) p.amp = ClampAmplitude(p.amp, m_ampMax);
}

float StimPattern::AmpMax() const
{
    return m_ampMax;
}

void StimPattern::SetAmpsToZero()
{
    for (phase& p : m_phases) p.amp = 0;
}

float StimPattern::NearestAmplitude(float amp) const
{
    if (amp == 0) return 0;
    const float steps = std::round(std::fabs(amp) / m_ampStepSize);
    const float magnitude = steps > 1 ? m_ampStepSize * steps : m_ampStepSize;
    return amp < 0 ? -magnitude : magnitude;
}

float StimPattern::MaxAmplitude(Sign sign) const
{
    float extreme = sign == Negative ? LargestFloat : -LargestFloat;
    float signedExtreme = 0;
    for (const phase& p : m_phases) {
        const float amp = sign == Absolute ? std::fabs(p.amp) : p.amp;
        if (sign == Negative ? amp < extreme : amp > extreme) extreme = amp;
        if (amp == extreme) signedExtreme = p.amp;
    }
    return sign == Absolute ? signedExtreme : extreme;
}

float StimPattern::MaxAmp() const
{
    return MaxAmplitude(Positive);
}

float StimPattern::MinAmp() const
{
    return MaxAmplitude(Negative);
}

float StimPattern::MaxAbsAmp() const
{
    float magnitude = -LargestFloat;
    float amp = 0;
    for (const phase& p : m_phases) {
        if (std::fabs(p.amp) > magnitude) {
            magnitude = std::fabs(p.amp);
            amp = p.amp;
        }
    }
    return amp;
}

// --- Timing ---

float StimPattern::PeriodUsec() const
{
    return PhaseStart(PhaseCount());
}

float StimPattern::Period() const
{
    return PeriodUsec() / UsecPerMsec;
}

float StimPattern::Frequency() const
{
    return MsecPerSec / Period();
}

float StimPattern::SetFrequency(float hz)
{
    return MsecPerSec / SetPeriod(MsecPerSec / hz);
}

float StimPattern::TrainLength() const
{
    return m_trainLengthUsec / UsecPerMsec;
}

float StimPattern::SetTrainLength(float msec)
{
    const float target = msec * UsecPerMsec;
    const float period = PeriodUsec();
    StoreTrainLength(period > target ? period : target);
    return m_trainLengthUsec;
}

void StimPattern::SetCycleCount(int cycles)
{
    StoreTrainLength(PeriodUsec() * static_cast<float>(std::max(cycles, 1)));
}

void StimPattern::StoreTrainLength(float lengthUsec)
{
    if (lengthUsec == m_trainLengthUsec) return;
    m_trainLengthUsec = lengthUsec;
    RaiseChangeCount();
}

int StimPattern::CycleCount() const
{
    if (!(m_trainLengthUsec < LargestFloat)) return ContinuousCycles;
    const float periods = m_trainLengthUsec / PeriodUsec();
    const float nearest = std::round(periods);
    float cycles = nearest;
    if (!(std::fabs(periods - nearest) < CycleTolerance))
        cycles = m_roundCyclesDown != 0 ? std::floor(periods) : std::ceil(periods);
    if (std::isnan(cycles)) return ContinuousCycles;
    return std::max(ToInt(cycles), 1);
}

bool StimPattern::IsContinuous() const
{
    return CycleCount() == ContinuousCycles;
}

float StimPattern::TrainPeriodMismatch(Stim::ReturnSign how) const
{
    if (IsContinuous()) return 0;
    const float period = Period();
    const float periods = TrainLength() / period;
    const float fraction = periods - static_cast<float>(ToInt(periods + CycleTolerance));
    const float mismatch = period * fraction;
    return how == Stim::Magnitude ? std::fabs(mismatch) : mismatch;
}

float StimPattern::TrainPeriodMismatchPct() const
{
    return TrainPeriodMismatch(Stim::Magnitude) / TrainLength();
}

float StimPattern::PeriodTrimmed(int maxTrim) const
{
    const int count = PhaseCount();
    const int limit = maxTrim >= 0 && maxTrim < count ? maxTrim : count;
    float trimmed = 0;
    int first = 0;
    for (; first < count && first <= limit && PhaseAmp(first) == 0; ++first) trimmed += PhaseLen(first);
    for (int last = count - 1; last > first && last >= count - limit && PhaseAmp(last) == 0; --last)
        trimmed += PhaseLen(last);
    return (PeriodUsec() - trimmed) / UsecPerMsec;
}

float StimPattern::PhaseStart(int index) const
{
    float start = 0;
    for (int i = 0; i < index && i < PhaseCount(); ++i) start += m_phases[static_cast<std::size_t>(i)].len;
    return start;
}

float StimPattern::FirstActiveTime() const
{
    return PhaseStart(FirstActivePhase());
}

bool StimPattern::Equals(StimPattern* other) const
{
    if (other == nullptr) return false;
    return (this == other || *this == *other) && CycleCount() == other->CycleCount() &&
           TrainLength() == other->TrainLength();
}

// --- Phase editing ---

bool StimPattern::SetPhaseLen(int i, float len)
{
    return len >= 0 && OfferPhase(i, {len, PhaseAmp(i)});
}

bool StimPattern::SetPhaseAmp(int i, float amp)
{
    return OfferPhase(i, {PhaseLen(i), ClampAmplitude(amp, m_ampMax)});
}

bool StimPattern::SetPhase(int i, phase p)
{
    return OfferPhase(i, {p.len, ClampAmplitude(p.amp, m_ampMax)});
}

bool StimPattern::OfferPhase(int i, phase p)
{
    if (Phase(i) == nullptr) return false;
    std::vector<phase> edited = m_phases;
    edited[static_cast<std::size_t>(i)] = p;
    if (!AdjustPhases(m_phases, edited, MaxCmds())) return false;
    m_phases = std::move(edited);
    RaiseChangeCount();
    return true;
}

void StimPattern::SetPhases(std::vector<phase> phases)
{
    if (!ListValid(phases, MaxCmds()) || SamePhases(phases, m_phases)) return;
    m_phases = std::move(phases);
    for (phase& p : m_phases) p.amp = ClampAmplitude(p.amp, m_ampMax);
    RaiseChangeCount();
}

int StimPattern::InsertPhase(int i, float len, float amp)
{
    const int at = std::max(i, 0);
    if (at < PhaseCount()) m_phases.insert(m_phases.begin() + at, phase{len, amp});
    RaiseChangeCount();
    return PhaseCount();
}

int StimPattern::RemovePhase(int i)
{
    const int at = std::max(i, 0);
    if (at < PhaseCount()) {
        m_phases.erase(m_phases.begin() + at);
        RaiseChangeCount();
    }
    return PhaseCount();
}

void StimPattern::ClearPhases()
{
    if (m_phases.empty()) return;
    m_phases.clear();
    RaiseChangeCount();
}

int StimPattern::AppendPhase(float len, float amp)
{
    m_phases.push_back({len, amp});
    RaiseChangeCount();
    return PhaseCount();
}

int StimPattern::FirstActivePhase() const
{
    const auto first = std::find_if(m_phases.begin(), m_phases.end(), IsActive);
    return first == m_phases.end() ? -1 : static_cast<int>(first - m_phases.begin());
}

int StimPattern::LastActivePhase() const
{
    const auto last = std::find_if(m_phases.rbegin(), m_phases.rend(), IsActive);
    return static_cast<int>(m_phases.rend() - last) - 1;
}

// --- Validation ---

bool StimPattern::PhasesValid(std::vector<phase> phases, int maxCmds) const
{
    return ListValid(phases, maxCmds);
}

bool StimPattern::ListValid(const std::vector<phase>& phases, int maxCmds) const
{
    if (!phases.empty() && !TimeStepUsable(m_timeStepUsec)) return false;
    if (!AmpStepUsable(m_ampStepSize) && std::any_of(phases.begin(), phases.end(), IsActive)) return false;
    WordCounter counter(m_timeStepUsec, m_ampStepSize);
    for (const phase& p : phases)
        if (counter.Count(p, &p == &phases.back()) != Meeting::Fits) return false;
    return counter.Words() <= maxCmds;
}

// --- Words ---

int StimPattern::WriteStimCmds(unsigned int* words, int maxWords) const
{
    return WriteWords(words, maxWords, false);
}

int StimPattern::WriteWords(unsigned int* words, int maxWords, bool valid) const
{
    if (words == nullptr || !(valid || ListValid(m_phases, MaxCmds()))) return -1;
    CommandSink sink(words, maxWords);
    if (m_cmdOverride)
        sink.FixLowHalf(m_cmdOverrideValue);
    else if (!CarriesCurrent(m_phases))
        sink.FixLowHalf(0);
    CommandWriter writer(m_timeStepUsec, m_ampStepSize, sink);
    for (const phase& p : m_phases)
        if (!writer.Write(p, &p == &m_phases.front(), &p == &m_phases.back())) return -1;
    return sink.Count();
}

int StimPattern::WordArray(unsigned int* out, unsigned int /*unused*/)
{
    return out == nullptr ? -1 : CopyWords(out);
}

int StimPattern::CopyWords(void* out)
{
    if (!Update()) return -1;
    std::memcpy(out, m_wordArray, static_cast<std::size_t>(m_wordCount) * sizeof m_wordArray[0]);
    return m_wordCount;
}

bool StimPattern::Update()
{
    if (ListValid(m_phases, MaxCmds())) {
        if (!ArrayIsCurrent()) BuildWordArray(true);
    } else if (AdjustPhases(m_phases, m_phases, MaxCmds()) && !ArrayIsCurrent()) {
        BuildWordArray(false);
    }
    return ArrayIsCurrent();
}

int StimPattern::UpdateWordArray()
{
    return BuildWordArray(false);
}

int StimPattern::BuildWordArray(bool valid)
{
    m_updateCount = NextCount(m_updateCount);
    m_wordCount = 0;
    WriteVekCmd(&m_wordArray[0]);
    const int count = WriteWords(&m_wordArray[1], std::min(MaxCmds(), MaxWords - 1), valid);
    if (count < 0) return 0;
    m_arrayChangeCount = m_changeCount;
    m_wordCount = count + 1;
    TARVUTIL_ASSERT(m_wordCount <= MaxWords);
    return m_wordCount;
}

bool StimPattern::ArrayIsCurrent() const
{
    return m_changeCount == m_arrayChangeCount;
}

int StimPattern::MaxCmds() const
{
    return m_maxCmdCount - 1;
}

bool StimPattern::WriteVekCmd(unsigned int* word) const
{
    if (word == nullptr) return false;
    *word = ReplaceCycles(0, std::min(CycleCount(), MaxCyclesPerCommand));
    return true;
}

void StimPattern::SetCmdOverride(bool on, unsigned short value)
{
    if (on == m_cmdOverride && value == m_cmdOverrideValue) return;
    m_cmdOverride = on;
    m_cmdOverrideValue = value;
    UpdateWordArray();
}

int StimPattern::WriteDebugCmds(unsigned int* words) const
{
    if (words == nullptr) return 0;
    // A biphasic pulse of 47 steps, negative phase first, with a gap of three time steps, and a pause.
    static constexpr unsigned int Pulse[] = {0x0003E02FU, 0x0003E000U, 0x0003E0AFU, 0x0FFFE000U};
    std::copy(std::begin(Pulse), std::end(Pulse), words + 1);
    return 1 + static_cast<int>(std::size(Pulse));
}

// --- Text ---

std::vector<std::string>& StimPattern::Split(const std::string& text, char delimiter,
                                             std::vector<std::string>& tokens, bool keepEmpty) const
{
    // Cut before appending: text may be one of the tokens.
    std::vector<std::string> cut = Split(text, delimiter, keepEmpty);
    tokens.insert(tokens.end(), std::make_move_iterator(cut.begin()), std::make_move_iterator(cut.end()));
    return tokens;
}

std::vector<std::string> StimPattern::Split(const std::string& text, char delimiter, bool keepEmpty) const
{
    std::vector<std::string> tokens;
    Pieces pieces(text, delimiter);
    for (std::string_view piece; pieces.Next(piece);)
        if (keepEmpty || !piece.empty()) tokens.emplace_back(piece);
    return tokens;
}

float StimPattern::DurationFromStr(std::string field, std::vector<std::string>& errors) const
{
    return ReadDuration(field, errors);
}

std::vector<phase> StimPattern::PhasesFromStr(std::string field, float ampStepSize,
                                              std::vector<std::string>& errors,
                                              std::vector<std::string>& warnings) const
{
    return ReadPhases(field, ampStepSize, errors, warnings);
}

bool StimPattern::FromString(std::string spec, float ampStepSize, std::vector<std::string>& errors,
                             std::vector<std::string>& warnings)
{
    return ReadSpecification(spec, ampStepSize, errors, warnings);
}

bool StimPattern::ReadSpecification(const std::string& spec, float ampStepSize,
                                    std::vector<std::string>& errors, std::vector<std::string>& warnings)
{
    PatternText read;
    if (!ReadText(spec, ampStepSize, errors, warnings, read)) return false;
    SetPhases(std::move(read.phases));
    SetTrainLength(read.durationMsec);
    return true;
}

std::string StimPattern::ToString()
{
    std::string text;
    text.reserve(32 * m_phases.size() + 64);
    for (const phase& p : m_phases) {
        char item[2 * NumberRoom + 3];
        char* end = item;
        *end++ = '(';
        end = WriteNumber(end, p.len);
        *end++ = ',';
        end = WriteNumber(end, p.amp);
        *end++ = ')';
        text.append(item, static_cast<std::size_t>(end - item));
    }
    text += ":DurationMsec=[";
    AppendNumber(text, TrainLength());
    text += ']';
    return text;
}
