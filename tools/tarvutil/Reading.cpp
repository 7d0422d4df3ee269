#include "Reading.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <limits>

#include "Figures.h"
#include "Output.h"

namespace {

TextFields FieldsOf(std::string_view text)
{
    TextFields fields;
    std::string_view* const order[] = {&fields.head, &fields.phases, &fields.duration, &fields.balance};
    std::size_t count = 0;
    for (std::size_t begin = 0; begin < text.size() && count < std::size(order);) {
        const std::size_t end = std::min(text.find(':', begin), text.size());
        if (end != begin) *order[count++] = text.substr(begin, end - begin);
        begin = end + 1;
    }
    return fields;
}

// Calls visit with each phase item of a field until it returns false.
template <typename Visit>
void ForEachItem(std::string_view field, Visit visit)
{
    for (std::size_t begin = 0; begin < field.size();) {
        const std::size_t end = std::min(field.find(')', begin), field.size());
        if (end != begin && !visit(field.substr(begin, end - begin))) return;
        begin = end + 1;
    }
}

// The size of the longest prefix of count phases that passes. Once a prefix fails, longer ones fail, too.
template <typename Passes>
std::size_t LongestPassing(std::size_t count, Passes passes)
{
    std::size_t good = 0;
    std::size_t bad = count + 1;
    while (bad - good > 1) {
        const std::size_t middle = good + (bad - good) / 2;
        (passes(middle) ? good : bad) = middle;
    }
    return good;
}

// The value of a field "name[value]", and what follows it.
std::string_view Bracketed(std::string_view field)
{
    const std::size_t open = std::min(field.find('['), field.size());
    return field.substr(std::min(open + 1, field.size()));
}

// Whether a value and its bracket are a number and no more, as they mostly are: it is then read without a copy.
template <typename Number>
bool ReadsPlainly(std::string_view value, Number& number)
{
    const char* const end = value.data() + value.size();
    const auto read = std::from_chars(value.data(), end, number);
    return read.ec == std::errc() && (read.ptr == end || (*read.ptr == ']' && read.ptr + 1 == end));
}

std::string WithoutBrackets(std::string_view value)
{
    std::string text(value);
    std::replace(text.begin(), text.end(), '[', ' ');
    std::replace(text.begin(), text.end(), ']', ' ');
    return text;
}

// As written; 0 where there is none.
long AskedBalanceMode(const TextFields& fields)
{
    const std::string_view value = Bracketed(fields.balance);
    long mode = 0;
    return ReadsPlainly(value, mode) ? mode : std::strtol(WithoutBrackets(value).c_str(), nullptr, 10);
}

AskedPhase AskedItem(std::string_view item)
{
    std::string values(item);
    std::replace(values.begin(), values.end(), '(', ' ');
    const std::size_t first = values.find_first_not_of(" \t\n\v\f\r,");
    if (first == std::string::npos) return {};
    const std::size_t comma = std::min(values.find(',', first), values.size());
    const std::size_t second = std::min(values.find_first_not_of(',', comma), values.size());
    return {std::strtod(values.c_str() + first, nullptr), std::strtod(values.c_str() + second, nullptr)};
}

// The text reader quotes the whole field once for each faulty item; of a long field only the first is wanted.
// Returns the message, or nothing when every item can be read.
std::string FaultyItem(const StimPattern& pattern, std::string_view field, float ampStepUa)
{
    std::vector<std::string> errors;
    std::vector<std::string> warnings;
    ForEachItem(field, [&](std::string_view item) {
        warnings.clear();
        pattern.PhasesFromStr(std::string(item), ampStepUa, errors, warnings);
        return errors.empty();
    });
    return errors.empty() ? std::string() : errors.front();
}

// The text reader says the same of a field for each faulty item, and ends some messages with a line feed.
void Tidy(std::vector<std::string>& messages)
{
    for (std::string& message : messages) message.erase(message.find_last_not_of('\n') + 1);
    messages.erase(std::unique(messages.begin(), messages.end()), messages.end());
}

bool Balanced(LillyPattern& pattern)
{
    constexpr float Tolerance = 1e-3f;  // of the charge: what the repairs and roundings may leave
    const float charge = pattern.Phase1Amp() * pattern.Phase1Len();
    const float net = charge + pattern.Phase2Amp() * pattern.Phase2Len();
    return !pattern.BalanceEnabled() || std::fabs(net) <= Tolerance * std::fabs(charge);
}

// Puts a pattern back to what it was when it was made, but for its counters. A copy of a fresh one would move the
// whole of its word array.
void MakeFresh(AnyPattern& pattern)
{
    Base(pattern).Defaults();
    if (auto* lilly = std::get_if<LillyPattern>(&pattern))
        lilly->SetChargeBalanceMode(0);
    else
        Base(pattern).SetTrainLength(0);
}

}  // namespace

std::vector<std::string> Reading::Faults() const
{
    std::vector<std::string> faults = errors;
    if (!failure.empty() && (errors.empty() || errors.back() != failure)) faults.push_back(failure);
    return faults;
}

Reader::Reader(const Stimulator& stimulator)
    : m_stimulator(stimulator), m_reading{{}, {}, {}, {}, {}, {}, {}, MakePattern(stimulator), {}}
{}

const Reading& Reader::Read(const Place& place, std::string_view text)
{
    m_reading.place = place;
    m_reading.text = text;
    m_reading.fields = FieldsOf(text);
    m_reading.phases.clear();
    m_reading.errors.clear();
    m_reading.warnings.clear();
    m_reading.failure.clear();
    m_reading.words.clear();
    MakeFresh(m_reading.pattern);
    if (TakePhases() && TakeText()) Encode();
    return m_reading;
}

// FromString reports success for a list that the pattern then refuses, and the pattern would go on with its
// default phases; so the list is read and asked about before.
bool Reader::TakePhases()
{
    const StimPattern& pattern = Base(m_reading.pattern);
    const std::string_view field = m_reading.fields.phases;
    constexpr std::size_t LongField = 8192;
    if (field.size() > LongField) {
        m_reading.failure = FaultyItem(pattern, field, m_stimulator.ampStepUa);
        if (!m_reading.failure.empty()) m_reading.errors.push_back(m_reading.failure);
        if (!m_reading.failure.empty()) return false;
    }
    std::vector<std::string> toldLater;
    m_reading.phases =
        pattern.PhasesFromStr(std::string(field), m_stimulator.ampStepUa, toldLater, toldLater);
    if (m_reading.phases.empty() || pattern.PhasesValid(m_reading.phases, pattern.MaxCmds())) return true;
    m_reading.failure = WhyNotValid(pattern, m_reading.phases);
    return false;
}

bool Reader::TakeText()
{
    StimPattern& pattern = Base(m_reading.pattern);
    const bool taken = pattern.FromString(std::string(m_reading.text), m_stimulator.ampStepUa,
                                          m_reading.errors, m_reading.warnings);
    Tidy(m_reading.errors);
    Tidy(m_reading.warnings);
    if (!taken) {
        m_reading.failure =
            m_reading.errors.empty() ? "the phase-list field holds no phase" : m_reading.errors.back();
        return false;
    }
    auto* lilly = std::get_if<LillyPattern>(&m_reading.pattern);
    const long asked = AskedBalanceMode(m_reading.fields);
    const long set = lilly == nullptr ? 0 : lilly->BalanceMode();
    if (asked != set)
        m_reading.warnings.push_back("balance mode " + std::to_string(asked) + " is asked, " +
                                     std::to_string(set) + " is set");
    if (lilly != nullptr && !Balanced(*lilly))
        m_reading.warnings.push_back("balance mode " + std::to_string(lilly->BalanceMode()) +
                                     " is set, but phase 2 does not balance phase 1");
    return true;
}

void Reader::Encode()
{
    StimPattern& pattern = Base(m_reading.pattern);
    m_reading.words.resize(static_cast<std::size_t>(m_stimulator.budget));
    const int count = pattern.WordArray(m_reading.words.data(), 0);
    m_reading.words.resize(static_cast<std::size_t>(std::max(count, 0)));
    if (count <= 0) m_reading.failure = WhyNotWritten(m_stimulator, pattern.Phases());
}

Asked AskedBy(const TextFields& fields)
{
    Asked asked;
    ForEachItem(fields.phases, [&asked](std::string_view item) {
        asked.phases.push_back(AskedItem(item));
        return true;
    });
    asked.trainMsec = AskedTrainMsec(fields);
    return asked;
}

double AskedTrainMsec(const TextFields& fields)
{
    const std::string_view value = Bracketed(fields.duration);
    double msec = 0;
    if (ReadsPlainly(value, msec) && std::isfinite(msec)) return msec;
    const std::string train = WithoutBrackets(value);
    const bool endless = train.find("inf") != std::string::npos || train.find("INF") != std::string::npos;
    return endless ? std::numeric_limits<double>::infinity() : std::strtod(train.c_str(), nullptr);
}

std::string NameOfPhase(const std::vector<phase>& phases, std::size_t index)
{
    const phase& p = phases[index];
    return "phase " + std::to_string(index) + " (" + Shortest(p.len) + " us, " + Shortest(p.amp) + " uA)";
}

namespace {

std::string OverBudget(int words, int maxCmds)
{
    return "the phases need " + std::to_string(words) + " words behind word 0, the budget leaves " +
           std::to_string(maxCmds);
}

constexpr int Unlimited = std::numeric_limits<int>::max();

}  // namespace

int FirstRefused(const StimPattern& pattern, const std::vector<phase>& phases)
{
    const std::size_t passing = LongestPassing(phases.size(), [&](std::size_t count) {
        const auto end = phases.begin() + static_cast<std::ptrdiff_t>(count);
        return pattern.PhasesValid({phases.begin(), end}, Unlimited);
    });
    return passing == phases.size() ? -1 : static_cast<int>(passing);
}

std::string WhyNotValid(const StimPattern& pattern, const std::vector<phase>& phases)
{
    const int refused = FirstRefused(pattern, phases);
    if (refused < 0) {
        int tooFew = pattern.MaxCmds();
        int enough = Unlimited;
        while (enough - tooFew > 1) {
            const int middle = tooFew + (enough - tooFew) / 2;
            (pattern.PhasesValid(phases, middle) ? enough : tooFew) = middle;
        }
        return OverBudget(enough, pattern.MaxCmds());
    }
    const auto failing = static_cast<std::size_t>(refused);
    const std::string name = NameOfPhase(phases, failing);
    if (!(phases[failing].len >= 0)) return name + ": the length is below 0";
    return name + " does not fit the time steps: it carries current within the step that " +
           NameOfPhase(phases, failing - 1) + " leaves unfinished";
}

std::string WhyNotWritten(const Stimulator& stimulator, const std::vector<phase>& phases)
{
    // As many words as the writer may put for phases so long.
    constexpr double StepsPerWord = 65535;
    constexpr double MaxRoom = 1 << 22;
    double room = 0;
    for (const phase& p : phases) room += 3 + p.len / stimulator.timeStepUsec / StepsPerWord;
    std::vector<unsigned int> words(static_cast<std::size_t>(std::min(room, MaxRoom)));
    const auto written = [&](std::size_t count) {
        PlainPattern prefix(StimPattern::MaxWords, stimulator.timeStepUsec, stimulator.ampStepUa,
                            stimulator.AmpMaxUa());
        for (std::size_t i = 0; i < count; ++i) prefix.AppendPhase(phases[i].len, phases[i].amp);
        return prefix.WriteStimCmds(words.data(), static_cast<int>(words.size()));
    };
    const int all = written(phases.size());
    if (all >= 0) return OverBudget(all, stimulator.budget - 1);
    if (room > MaxRoom)
        return "the phases need far more words than the " + std::to_string(stimulator.budget - 1) +
               " that the budget leaves behind word 0";
    const std::size_t failing =
        LongestPassing(phases.size(), [&](std::size_t count) { return written(count) >= 0; });
    return NameOfPhase(phases, failing) + " is too short to finish the time step that earlier phases began";
}

void SayMessages(Output& output, const Reading& reading)
{
    for (const std::string& fault : reading.Faults()) Say(output, reading.place, fault);
    constexpr std::size_t MaxWarnings = 20;
    const std::size_t said = std::min(reading.warnings.size(), MaxWarnings);
    for (std::size_t i = 0; i < said; ++i) Say(output, reading.place, "warning: " + reading.warnings[i]);
    if (said != reading.warnings.size())
        Say(output, reading.place,
            "warning: and " + std::to_string(reading.warnings.size() - said) + " more of that kind");
}
