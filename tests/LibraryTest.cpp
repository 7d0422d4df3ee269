#include <gtest/gtest-spi.h>

#include <cmath>
#include <map>
#include <memory>
#include <stdexcept>
#include <type_traits>

#include "CaseFiles.h"
#include "TestPatterns.h"

// Runs the cases in library/*.cases, as README.md there describes them.

namespace {

// --- Values as text ---

// What an operation shows. Numbers of floats are equal as floats, all else to the letter.
struct Result
{
    std::string text;
    bool floats = false;
};

// The shortest text that reads back.
std::string Show(float value)
{
    char text[32];
    for (int digits = 6; digits <= 9; ++digits) {
        std::snprintf(text, sizeof text, "%.*g", digits, value == 0 ? 0 : static_cast<double>(value));
        if (std::strtof(text, nullptr) == value) break;
    }
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

template <typename T>
Result ResultOf(const T& value)
{
    return {Show(value), std::is_same_v<T, float> || std::is_same_v<T, PhaseList>};
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

// --- Text as values ---

[[noreturn]] void Refuse(const std::string& text, const char* why)
{
    throw std::invalid_argument(text + ": " + why);
}

template <typename T>
T Read(const std::string& word)
{
    if constexpr (std::is_same_v<T, std::string>) {
        if (word.size() < 2 || word.front() != '"' || word.back() != '"') Refuse(word, "not in quotes");
        std::string text = word.substr(1, word.size() - 2);
        std::replace(text.begin(), text.end(), '~', '\0');
        return text;
    } else if constexpr (std::is_same_v<T, phase>) {
        const Texts parts = Cut(word, ',');
        if (parts.size() != 2) Refuse(word, "not LENGTH,AMPLITUDE");
        return {Read<float>(parts[0]), Read<float>(parts[1])};
    } else {
        if (word == "max") return std::numeric_limits<T>::max();
        if (word == "min") return std::numeric_limits<T>::min();
        char* end = nullptr;
        T value{};
        if constexpr (std::is_same_v<T, float>)
            value = std::strtof(word.c_str(), &end);
        else
            value = static_cast<T>(std::strtoll(word.c_str(), &end, 10));
        if (word.empty() || *end != '\0') Refuse(word, "not a number of this kind");
        return value;
    }
}

// The arguments of an operation, taken one by one.
struct Arguments
{
    std::string Word()
    {
        if (words.empty()) Refuse("", "an argument is missing");
        std::string word = words[0];
        words.erase(words.begin());
        return word;
    }

    template <typename T>
    T Take()
    {
        if constexpr (std::is_same_v<T, PhaseList>) {
            PhaseList list;
            if (words == Texts{"none"}) return words.clear(), list;
            do list.push_back(Read<phase>(Word()));
            while (!words.empty());
            return list;
        } else {
            return Read<T>(Word());
        }
    }
    template <typename T>
    T Take(T otherwise)
    {
        return words.empty() ? otherwise : Take<T>();
    }

    Texts words;
};

// --- Operations ---

class Lilly : public LillyPattern
{
 public:
    using LillyPattern::LillyPattern, LillyPattern::m_autoAdjust;
};

// What a host cannot see of any pattern.
struct Inside : StimPattern
{
    using StimPattern::m_ampMax, StimPattern::m_changeCount, StimPattern::m_label, StimPattern::m_phases,
        StimPattern::m_roundCyclesDown, StimPattern::m_timeStepUsec, StimPattern::m_trainLengthUsec;
};

// What the operations of a row share.
struct Subject
{
    std::unique_ptr<StimPattern> pattern;
    PhaseList current, proposed;  // of a repair
    Texts errors, warnings;
};

template <typename Class>
Class& Of(Subject& subject)
{
    if constexpr (std::is_same_v<Class, Subject>) return subject;
    if (subject.pattern == nullptr) Refuse("", "no pattern is given");
    return dynamic_cast<Class&>(*subject.pattern);
}

// What an operation shows, if it has a result.
using Shown = std::optional<Result>;
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
            return ResultOf(std::apply(call, taken));
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
        if (arguments.words.empty()) return ResultOf(value);
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
    X(SetCmdOverride) X(Defaults) X(ToString)
#define LILLY_PATTERN(X) \
    X(AutoAdjustEnabled) X(Offset) X(MaxOffset) X(IPI) X(Phase1Len) X(Phase2Len) X(Phase1Amp) X(Phase2Amp) X(EndLen) \
    X(Polarity) X(SetOffset) X(SetIPI) X(SetPhase1Len) X(SetPhase2Len) X(SetPhase1Amp) X(SetPhase2Amp) X(SetPolarity) \
    X(SetChargeBalanceMode) X(BalanceMode) X(BalanceEnabled) X(ChargeBalMult) X(BalancePhases) X(PhaseCountFixed)
#define LILLY(X) X(m_autoAdjust)
#define INSIDE(X) \
    X(m_ampMax) X(m_changeCount) X(m_label) X(m_phases) X(m_roundCyclesDown) X(m_timeStepUsec) X(m_trainLengthUsec)
#define SUBJECT(X) X(current) X(proposed) X(errors) X(warnings)
#define NAMED(name) all[#name] = Call(&Class::name);
#define ALL_OF(class, names) { using Class = class; names(NAMED) }
// NOLINTEND(cppcoreguidelines-macro-usage)
// clang-format on

// The others, by names of the cases; README.md describes their arguments.
std::map<std::string, Operation> Operations()
{
    using S = Subject&;
    using A = Arguments&;
    std::map<std::string, Operation> all;
    ALL_OF(StimPattern, STIM_PATTERN)
    ALL_OF(LillyPattern, LILLY_PATTERN)
    ALL_OF(Lilly, LILLY)
    ALL_OF(Inside, INSIDE)
    ALL_OF(Subject, SUBJECT)
    all["plain"] = [](S s, A a) -> Shown {
        const float timeStep = a.Take(1.0f), ampStep = a.Take(1.0f);
        const int budget = a.Take(101);
        s.pattern = std::make_unique<HostPattern>(PhaseList(), timeStep, ampStep, budget, a.Take(1000.0f));
        return std::nullopt;
    };
    all["lilly"] = [](S s, A a) -> Shown {
        const float timeStep = a.Take(ThirdStep), ampStep = a.Take(10.0f);
        const int budget = a.Take(101);
        s.pattern = std::make_unique<Lilly>(budget, timeStep, 0.0f, 0.0f, ampStep, a.Take(0), 1000.0f);
        return std::nullopt;
    };
    all["equal"] = [](S s, A a) {
        return ResultOf(Of<StimPattern>(s) == HostPattern(a.Take<PhaseList>(), 20, 5, 9, 7));
    };
    all["counted"] = [](S s, A a) { return Result{WordsCounted(Of<StimPattern>(s), a.Take<PhaseList>())}; };
    all["words"] = [](S s, A) { return Result{Array(Of<StimPattern>(s))}; };
    all["cycle"] = [](S s, A a) {
        return Result{Hex(Written(Of<StimPattern>(s), a.Take(StimPattern::MaxWords)))};
    };
    all["FromString"] = [](S s, A a) {
        const auto text = a.Take<std::string>();
        return ResultOf(Of<StimPattern>(s).FromString(text, a.Take(1.0f), s.errors, s.warnings));
    };
    all["PhasesFromStr"] = [](S s, A a) {
        const auto text = a.Take<std::string>();
        return ResultOf(Of<StimPattern>(s).PhasesFromStr(text, a.Take(1.0f), s.errors, s.warnings));
    };
    all["DurationFromStr"] = [](S s, A a) {
        return ResultOf(Of<StimPattern>(s).DurationFromStr(a.Take<std::string>(), s.errors));
    };
    all["Split"] = [](S s, A a) {
        const auto text = a.Take<std::string>();
        return ResultOf(Of<StimPattern>(s).Split(text, ',', a.Take<bool>()));
    };
    all["AdjustPhases"] = [](S s, A a) {
        return ResultOf(Of<StimPattern>(s).AdjustPhases(s.current, s.proposed, a.Take<int>()));
    };
    all["repair"] = [](S s, A a) {
        PhaseList& own = Of<StimPattern>(s).*(&Inside::m_phases);
        return ResultOf(Of<StimPattern>(s).AdjustPhases(own, own, a.Take<int>()));
    };
    all["AdjustPhaseLen"] = [](S s, A a) {
        const int index = a.Take<int>();
        const float delta = a.Take<float>();
        return ResultOf(Of<Lilly>(s).AdjustPhaseLen(s.proposed, index, delta, a.Take<bool>()));
    };
    all["OffsetShiftOk"] = [](S s, A a) {
        return ResultOf(Of<Lilly>(s).OffsetShiftOk(s.proposed, a.Take<float>()));
    };
    return all;
}

// Runs "operation; operation" and returns what they show.
std::vector<Result> Results(Subject& subject, const std::string& line)
{
    static const auto operations = Operations();
    std::vector<Result> shown;
    for (const std::string& each : Cut(line, ';')) {
        Arguments arguments{Cut(each, ' ')};
        const auto operation = operations.find(arguments.Word());
        if (operation == operations.end()) Refuse(each, "no such operation");
        try {
            if (Shown one = operation->second(subject, arguments)) shown.push_back(*std::move(one));
        } catch (const std::out_of_range&) {
            shown.push_back({"out of range"});
        }
        if (!arguments.words.empty()) Refuse(each, "an argument too many");
    }
    return shown;
}

bool Equal(const Result& shown, const std::string& expected)
{
    if (shown.text == expected || !shown.floats) return shown.text == expected;
    std::string all[] = {shown.text, expected};
    for (std::string& text : all) std::replace(text.begin(), text.end(), ',', ' ');
    const Texts is = Cut(all[0], ' '), should = Cut(all[1], ' ');
    return std::equal(is.begin(), is.end(), should.begin(), should.end(),
                      [](const std::string& one, const std::string& other) {
                          return one == other || Read<float>(one) == Read<float>(other);
                      });
}

// --- Cases ---

// The form with the columns of a row in the place of $1, $2, ...
std::string Filled(std::string form, const std::string& row)
{
    if (form.empty()) return row;
    const Texts columns = row.empty() ? Texts() : Cut(row, '|');
    std::size_t used = 0;
    for (std::size_t at = 0; (at = form.find('$', at)) != std::string::npos;) {
        const auto i = static_cast<std::size_t>(form.at(at + 1) - '0');
        used = std::max(used, i);
        if (i > columns.size()) Refuse(row, "a column is missing");
        form.replace(at, 2, columns[i - 1]);
        at += columns[i - 1].size();
    }
    if (columns.size() != used) Refuse(row, "a column too many");
    return form;
}

void RunRow(const Case& c, int number, const std::string& row, const std::string& given,
            const std::string& form)
{
    const std::string file = c.file.string();
    const testing::ScopedTrace trace(file.c_str(), number, row);
    const Texts sides = Cut(row, '>');
    if (sides.size() != 2) Refuse(row, "a row has one >");
    Subject subject;
    if (!given.empty()) Results(subject, given);
    const std::string operations = Filled(form, sides[0]);
    const std::vector<Result> shown = Results(subject, operations);
    const Texts expected = Cut(sides[1], ';');
    if (std::equal(shown.begin(), shown.end(), expected.begin(), expected.end(), Equal)) return;
    std::string text;
    for (const Result& each : shown) text += (text.empty() ? "" : "; ") + each.text;
    if (Update::Asked())
        Update::Replace(c.file, number - 1, number, {row.substr(0, row.find('>') + 1) + " " + text});
    else
        ADD_FAILURE() << operations << "\nshows " << text << "\nnot   " << sides[1];
}

void RunCase(const Case& c)
{
    std::string given, form;
    int rows = 0;
    for (const auto& [number, text] : c.lines) {
        if (text[0] == '#') continue;
        if (text.rfind("given ", 0) == 0) {
            given = text.substr(6);
            form.clear();
        } else if (text.rfind("form ", 0) == 0) {
            form = text.substr(5);
        } else {
            RunRow(c, number, text, given, form);
            ++rows;
        }
    }
    EXPECT_GT(rows, 0);
}

class LibraryTest : public testing::TestWithParam<Case>
{
};

TEST_P(LibraryTest, Shows)
{
    RunCase(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Cases, LibraryTest, testing::ValuesIn(AllCases()), NameOf);

// A case of these rows, on a pattern of one phase.
Case CaseOf(const std::string& form, const std::string& row)
{
    return {"", "", {{1, "given plain; m_phases 0.5,2; m_label \"a\""}, {2, "form " + form}, {3, row}}};
}

TEST(LibraryRunner, FindsWhatDoesNotHold)
{
    if (Update::Asked()) GTEST_SKIP() << "its cases are in no file";
    RunCase(CaseOf("PhaseCount; PhaseLen $1; Phases; m_label; PhaseCount", "0 > 1; 5e-1; .5,2.0; \"a\"; 1"));
    for (const char* wrong : {"2; 0.5", "1.0; 0.5", "1; 0.6", "1", "1; 0.5; 1", "", "\"1\"; 0.5"})
        EXPECT_NONFATAL_FAILURE(RunCase(CaseOf("PhaseCount; PhaseLen $1", std::string("0 > ") + wrong)), "");
    for (const char* wrong : {"0.5,2 0.5,2", "none", "0.5", "0.5,-2"})
        EXPECT_NONFATAL_FAILURE(RunCase(CaseOf("Phases", std::string("> ") + wrong)), "");
    EXPECT_NONFATAL_FAILURE(RunCase({"", "", {{1, "given plain"}}}), "");
}

TEST(LibraryRunner, RefusesWhatItDoesNotKnow)
{
    const std::pair<const char*, const char*> rows[] = {
        {"Phasecount", "> 1"},    {"PhaseLen", "> 1"},       {"PhaseLen 0 0", "> 1"},
        {"PhaseLen 0x", "> 1"},   {"SetLabel a", "> 1"},     {"AppendPhase 1 x", "> 1"},
        {"equal 1", "> 1"},       {"equal", "> 1"},          {"PhaseLen $1", "> 0.5"},
        {"PhaseCount", "0 > 1"},  {"PhaseLen $1", "0 > 1x"}, {"PhaseCount", "1"},
        {"PhaseCount", "> 1 > 1"}};
    for (const auto& [form, row] : rows)
        EXPECT_THROW(RunCase(CaseOf(form, row)), std::invalid_argument) << form << " " << row;
    EXPECT_THROW(RunCase({"", "", {{1, "PhaseCount > 0"}}}), std::invalid_argument);
}

}  // namespace

int main(int argc, char** argv)
{
    return Update::Main(argc, argv);
}
