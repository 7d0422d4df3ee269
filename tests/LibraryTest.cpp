#include <cmath>
#include <cstring>
#include <map>
#include <memory>
#include <stdexcept>
#include <type_traits>

#include "CaseFiles.h"
#include "ContinuedItemPlay.h"
#include "TestPatterns.h"

// Runs the cases in library/*.cases, as README.md there describes them.

namespace {

// --- Values as text ---

std::string Show(float value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", value == 0 ? 0 : static_cast<double>(value));
    return std::isnan(value) ? "nan" : text;
}

template <typename T, typename = std::enable_if_t<std::is_integral_v<T> || std::is_enum_v<T>>>
std::string Show(T value)
{
    return std::to_string(static_cast<long long>(value));
}

std::string Show(const phase& p)
{
    return Show(p.len) + "," + Show(p.amp);
}

// A NUL shows as ~, the end of a line as ^.
std::string Show(std::string text)
{
    std::replace(text.begin(), text.end(), '\0', '~');
    std::replace(text.begin(), text.end(), '\n', '^');
    return "\"" + text + "\"";
}

template <typename T>
std::string Show(const std::vector<T>& list)
{
    std::string text = list.empty() ? "none" : "";
    for (const T& each : list) text += (text.empty() ? "" : " ") + Show(each);
    return text;
}

// Cuts at a mark outside quotes; the pieces without the blanks around them.
Texts Cut(const std::string& text, char mark)
{
    Texts pieces{""};
    bool quoted = false;
    for (const char c : text) {
        quoted = quoted != (c == '"');
        if (c == mark && !quoted)
            pieces.emplace_back();
        else if (quoted || c != ' ' || !pieces.back().empty())
            pieces.back() += c;
    }
    for (std::string& piece : pieces) piece.erase(piece.find_last_not_of(' ') + 1);
    return pieces;
}

// The arguments of an operation, taken one by one.
struct Arguments
{
    std::string Word()
    {
        if (words.empty()) throw std::invalid_argument("an argument is missing");
        std::string word = words[0];
        words.erase(words.begin());
        return word;
    }

    template <typename T>
    T Take()
    {
        if constexpr (std::is_same_v<T, PhaseList>) {
            PhaseList list;
            while (!words.empty())
                if (const std::string word = Word(); word != "none") list.push_back(Listed(word).at(0));
            return list;
        } else {
            std::string word = Word();
            if constexpr (std::is_same_v<T, std::string>) {
                std::replace(word.begin(), word.end(), '~', '\0');
                return word.substr(1, word.size() - 2);
            } else if constexpr (std::is_same_v<T, phase>) {
                return Listed(word).at(0);
            } else if constexpr (std::is_same_v<T, float>) {
                return word == "max" ? LargestFloat : std::stof(word);
            } else {
                if (word == "max") return std::numeric_limits<T>::max();
                return word == "min" ? std::numeric_limits<T>::min() : static_cast<T>(std::stoll(word));
            }
        }
    }
    template <typename T>
    T Take(T otherwise)
    {
        return words.empty() ? otherwise : Take<T>();
    }

    Texts words;
};

// --- The pattern under test ---

// A host's pattern that takes what the validation takes, or what it is told to, and records what it is asked.
class Plain : public HostPattern
{
 public:
    using HostPattern::HostPattern;

    float SetPeriod(float periodMsec) override { return asked.push_back(Show(periodMsec)), periodInForce; }
    bool AdjustPhases(PhaseList& current, PhaseList& proposed, int maxCmds) override
    {
        const char* const place = &current == &proposed   ? "in place"
                                  : &current == &m_phases ? "own"
                                                          : "other";
        asked.push_back(place + (" " + Show(maxCmds) + ": ") + Show(current) + " to " + Show(proposed));
        if (!rework.empty()) proposed = rework;
        return accept < 0 ? ListValid(proposed, maxCmds) : accept != 0;
    }

    Texts asked;
    float periodInForce = 1;
    PhaseList rework;
    int accept = -1;  // 0 refuses and 1 accepts every list
};

class Lilly : public LillyPattern
{
 public:
    using LillyPattern::LillyPattern, LillyPattern::m_autoAdjust;
};

// What a host cannot see of any pattern.
struct Inside : StimPattern
{
    using StimPattern::m_ampMax, StimPattern::m_arrayChangeCount, StimPattern::m_changeCount,
        StimPattern::m_label, StimPattern::m_phases, StimPattern::m_roundCyclesDown,
        StimPattern::m_timeStepUsec, StimPattern::m_trainLengthUsec, StimPattern::m_updateCount;
};

// What the operations of a row share.
struct Subject
{
    std::unique_ptr<StimPattern> pattern;
    StimPattern* slot = nullptr;
    std::optional<ContinuedItemPlay> play;
    unsigned char buffer[4 * StimPattern::MaxWords + 1] =
        {};                       // of the play: its words begin at an odd address
    PhaseList current, proposed;  // of a repair
    Texts errors, warnings;
};

template <typename Class>
Class& Of(Subject& subject)
{
    if constexpr (std::is_same_v<Class, Subject>)
        return subject;
    else if constexpr (std::is_same_v<Class, ContinuedItemPlay>)
        return subject.play.value();
    else
        return dynamic_cast<Class&>(*subject.pattern);
}

// --- Operations ---

// What an operation shows, if it has a result.
using Shown = std::optional<std::string>;
using Operation = std::function<Shown(Subject&, Arguments&)>;

template <typename Class, typename Result, typename... Taken, typename Function>
Operation CallOf(Function function)
{
    return [function](Subject& subject, Arguments& arguments) -> Shown {
        const auto call = [&](auto... taken) { return (Of<Class>(subject).*function)(taken...); };
        const std::tuple<Taken...> taken{arguments.Take<Taken>()...};
        if constexpr (std::is_void_v<Result>)
            return std::apply(call, taken), std::nullopt;
        else
            return Show(std::apply(call, taken));
    };
}
template <typename Class, typename Result, typename... Taken>
Operation Call(Result (Class::*function)(Taken...))
{
    return CallOf<Class, Result, Taken...>(function);
}
template <typename Class, typename Result, typename... Taken>
Operation Call(Result (Class::*function)(Taken...) const)
{
    return CallOf<Class, Result, Taken...>(function);
}

// A member takes its argument, or shows what it is.
template <typename Class, typename T>
Operation Call(T Class::*member)
{
    return [member](Subject& subject, Arguments& arguments) -> Shown {
        T& value = Of<Class>(subject).*member;
        if (arguments.words.empty()) return Show(value);
        if constexpr (!std::is_same_v<T, Texts>) value = arguments.Take<T>();
        return std::nullopt;
    };
}

// The smallest budget under which a list is valid.
std::string WordsCounted(const StimPattern& pattern, const PhaseList& phases)
{
    if (!pattern.PhasesValid(phases, LargestInt)) return "invalid";
    int words = 0;
    while (!pattern.PhasesValid(phases, words)) ++words;
    return Show(words);
}

// clang-format off
// Operations of the library, and members, by their own names: only a macro has both the name and what it names.
// NOLINTBEGIN(cppcoreguidelines-macro-usage)
#define STIM_PATTERN(X) \
    X(SetLabel) X(PhaseCount) X(PhaseLen) X(PhaseAmp) X(Phases) X(WordCount) X(UpdateCount) X(ChangeCount) X(Touch) \
    X(SetAmpStepSize) X(AmpStepSize) X(SetAmpMax) X(AmpMax) X(SetAmpsToZero) X(NearestAmplitude) X(MaxAmplitude) \
    X(MaxAmp) X(MinAmp) X(MaxAbsAmp) X(PeriodUsec) X(Period) X(Frequency) X(SetFrequency) X(SetPeriod) X(TrainLength) \
    X(SetTrainLength) X(SetCycleCount) X(CycleCount) X(IsContinuous) X(TrainPeriodMismatch) X(TrainPeriodMismatchPct) \
    X(PeriodTrimmed) X(PhaseStart) X(FirstActiveTime) X(SetPhaseLen) X(SetPhaseAmp) X(SetPhase) X(SetPhases) \
    X(InsertPhase) X(RemovePhase) X(ClearPhases) X(AppendPhase) X(FirstActivePhase) X(LastActivePhase) X(Update) \
    X(UpdateWordArray) X(ArrayIsCurrent) X(SetCmdOverride) X(Defaults) X(ToString)
#define LILLY_PATTERN(X) \
    X(AutoAdjustEnabled) X(Offset) X(MaxOffset) X(IPI) X(Phase1Len) X(Phase2Len) X(Phase1Amp) X(Phase2Amp) X(EndLen) \
    X(Polarity) X(SetOffset) X(SetIPI) X(SetPhase1Len) X(SetPhase2Len) X(SetPhase1Amp) X(SetPhase2Amp) X(SetPolarity) \
    X(SetChargeBalanceMode) X(BalanceMode) X(BalanceEnabled) X(ChargeBalMult) X(BalancePhases) X(PhaseCountFixed)
#define LILLY(X) X(m_autoAdjust)
#define PLAIN(X) X(accept) X(rework) X(asked) X(periodInForce)
#define INSIDE(X) \
    X(m_ampMax) X(m_arrayChangeCount) X(m_changeCount) X(m_label) X(m_phases) X(m_roundCyclesDown) X(m_timeStepUsec) \
    X(m_trainLengthUsec) X(m_updateCount)
#define PLAY(X) \
    X(m_remCycles) X(m_startMsec) X(m_nextMsec) X(RemCycles) X(Channel) X(ReadyToContinue) X(ContinuePeriodMsec)
#define SUBJECT(X) X(current) X(proposed) X(errors) X(warnings)
#define NAMED(name) all[#name] = Call(&Class::name);
#define ALL_OF(class, names) { using Class = class; names(NAMED) }
// NOLINTEND(cppcoreguidelines-macro-usage)
// clang-format on

// The others, by names of the cases; README.md tells their arguments.
std::map<std::string, Operation> Operations()
{
    using S = Subject&;
    using A = Arguments&;
    std::map<std::string, Operation> all;
    ALL_OF(StimPattern, STIM_PATTERN)
    ALL_OF(LillyPattern, LILLY_PATTERN)
    ALL_OF(Lilly, LILLY)
    ALL_OF(Plain, PLAIN)
    ALL_OF(Inside, INSIDE)
    ALL_OF(ContinuedItemPlay, PLAY)
    ALL_OF(Subject, SUBJECT)
    all["plain"] = [](S s, A a) -> Shown {
        const float timeStep = a.Take(1.0f), ampStep = a.Take(1.0f);
        const int budget = a.Take(101);
        s.pattern = std::make_unique<Plain>(PhaseList(), timeStep, ampStep, budget, a.Take(1000.0f));
        return std::nullopt;
    };
    all["lilly"] = [](S s, A a) -> Shown {
        const float timeStep = a.Take(ThirdStep), ampStep = a.Take(10.0f);
        const int budget = a.Take(101);
        s.pattern = std::make_unique<Lilly>(budget, timeStep, 0.0f, 0.0f, ampStep, a.Take(0), 1000.0f);
        return std::nullopt;
    };
    all["equal"] = [](S s, A a) { return Show(*s.pattern == HostPattern(a.Take<PhaseList>(), 20, 5, 9, 7)); };
    all["counted"] = [](S s, A a) { return WordsCounted(*s.pattern, a.Take<PhaseList>()); };
    all["words"] = [](S s, A) { return Array(*s.pattern); };
    all["cycle"] = [](S s, A a) { return Hex(Written(*s.pattern, a.Take(StimPattern::MaxWords))); };
    all["FromString"] = [](S s, A a) {
        const std::string text = a.Take<std::string>();
        return Show(s.pattern->FromString(text, a.Take(1.0f), s.errors, s.warnings));
    };
    all["PhasesFromStr"] = [](S s, A a) {
        const std::string text = a.Take<std::string>();
        return Show(s.pattern->PhasesFromStr(text, a.Take(1.0f), s.errors, s.warnings));
    };
    all["DurationFromStr"] = [](S s, A a) {
        return Show(s.pattern->DurationFromStr(a.Take<std::string>(), s.errors));
    };
    all["Split"] = [](S s, A a) {
        const std::string text = a.Take<std::string>();
        return Show(s.pattern->Split(text, ',', a.Take<bool>()));
    };
    all["AdjustPhases"] = [](S s, A a) {
        return Show(s.pattern->AdjustPhases(s.current, s.proposed, a.Take<int>()));
    };
    all["repair"] = [](S s, A a) {
        PhaseList& own = (*s.pattern).*(&Inside::m_phases);
        return Show(s.pattern->AdjustPhases(own, own, a.Take<int>()));
    };
    all["AdjustPhaseLen"] = [](S s, A a) {
        const int index = a.Take<int>();
        const float delta = a.Take<float>();
        return Show(Of<Lilly>(s).AdjustPhaseLen(s.proposed, index, delta, a.Take<bool>()));
    };
    all["OffsetShiftOk"] = [](S s, A a) {
        return Show(Of<Lilly>(s).OffsetShiftOk(s.proposed, a.Take<float>()));
    };
    all["play"] = [](S s, A a) -> Shown {
        const int started = a.Take<int>();
        s.slot = s.pattern.get();
        s.play.emplace(StimItem{7, &s.slot}, started, a.Take(0L));
        return std::nullopt;
    };
    all["emptySlot"] = [](S s, A) -> Shown { return s.slot = nullptr, std::nullopt; };
    all["ContinueCmds"] = [](S s, A a) {
        return Show(s.play.value().ContinueCmds(a.Take<long>(), s.buffer + 1));
    };
    all["played"] = [](S s, A a) {
        Words words(a.Take<std::size_t>());
        std::memcpy(words.data(), s.buffer + 1, 4 * words.size());
        return Hex(words);
    };
    return all;
}

// Runs "operation; operation" and returns what they show, parted likewise.
std::string Results(Subject& subject, const std::string& line)
{
    static const auto operations = Operations();
    std::string shown;
    for (const std::string& each : Cut(line, ';')) {
        if (each.empty()) continue;
        Arguments arguments{Cut(each, ' ')};
        Shown one;
        try {
            const auto operation = operations.find(arguments.Word());
            if (operation == operations.end()) throw std::invalid_argument("no such operation");
            one = operation->second(subject, arguments);
            if (!arguments.words.empty()) throw std::invalid_argument("an argument too many");
        } catch (const std::out_of_range&) {
            one = "out of range";
        } catch (const std::exception& e) {
            ADD_FAILURE() << each << ": " << e.what();
        }
        if (one) shown += (shown.empty() ? "" : "; ") + *one;
    }
    return shown;
}

// Equal to the letter, but 0.1 or 1e9 as a float. Of ~10 only 0.02 more or less is asked; _ is anything.
bool Equal(const std::string& shown, const std::string& expected)
{
    if (shown == expected || expected == "_") return true;
    const bool about = expected[0] == '~';
    if (!about && expected.find_first_of(".e") == std::string::npos) return false;
    char *shownEnd = nullptr, *expectedEnd = nullptr;
    const float is = std::strtof(shown.c_str(), &shownEnd);
    const float should = std::strtof(expected.c_str() + (about ? 1 : 0), &expectedEnd);
    if (shown.empty() || *shownEnd != '\0' || *expectedEnd != '\0') return false;
    return about ? std::fabs(is - should) < 0.02f : is == should;
}

// Texts in quotes as a whole, other results number by number.
bool AllEqual(std::string shown, std::string expected)
{
    if (expected.find('"') != std::string::npos) return shown == expected;
    std::replace(shown.begin(), shown.end(), ',', ' ');
    std::replace(expected.begin(), expected.end(), ',', ' ');
    const auto equal = [](char mark, auto same) {
        return [=](const std::string& one, const std::string& other) {
            const Texts left = Cut(one, mark), right = Cut(other, mark);
            return std::equal(left.begin(), left.end(), right.begin(), right.end(), same);
        };
    };
    return equal(';', equal(' ', Equal))(shown, expected);
}

// --- Cases ---

// The form with the columns of a row in the place of $1, $2, ...
std::string Filled(std::string form, const std::string& row)
{
    if (form.empty()) return row;
    const Texts columns = Cut(row, '|');
    std::size_t used = 0;
    for (std::size_t at = 0; (at = form.find('$', at)) != std::string::npos;) {
        const auto i = static_cast<std::size_t>(form.at(at + 1) - '0');
        used = std::max(used, i);
        const std::string column = i <= columns.size() ? columns[i - 1] : "";
        form.replace(at, 2, column);
        at += column.size();
    }
    EXPECT_EQ(columns.size(), std::max<std::size_t>(used, 1)) << "columns";
    return form;
}

class LibraryTest : public testing::TestWithParam<Case>
{
};

TEST_P(LibraryTest, Shows)
{
    std::string given, form;
    int rows = 0;
    for (const auto& [number, text] : GetParam().lines) {
        if (text[0] == '#') continue;
        if (text.rfind("given", 0) == 0) {
            given = text.substr(5);
            form.clear();
        } else if (text.rfind("form ", 0) == 0) {
            form = text.substr(5);
        } else {
            const testing::ScopedTrace trace(GetParam().file.c_str(), number, text);
            const Texts sides = Cut(Filled(form, text), '>');
            Subject subject;
            Results(subject, given);
            const std::string shown = Results(subject, sides[0]);
            const std::string expected = sides.size() == 2 ? sides[1] : "(a row has one >)";
            EXPECT_TRUE(AllEqual(shown, expected))
                << sides[0] << "\nshows " << shown << "\nnot   " << expected;
            ++rows;
        }
    }
    EXPECT_GT(rows, 0);
}

INSTANTIATE_TEST_SUITE_P(Cases, LibraryTest, testing::ValuesIn(AllCases()), NameOf);

}  // namespace
