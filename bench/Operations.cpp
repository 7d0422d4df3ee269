#include "Operations.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "Allocations.h"
#include "ContinuedItemPlay.h"
#include "Floors.h"

namespace bench {
namespace {

template <typename Step>
class Repeated final : public Work
{
 public:
    explicit Repeated(Step step) : m_step(std::move(step)) {}
    void Run(int times) override
    {
        for (; times > 0; --times) m_step();
    }

 private:
    Step m_step;
};

// makeStep makes a function that owns its data and does the work once.
template <typename MakeStep>
MakeWork Repeat(MakeStep makeStep)
{
    return [makeStep] {
        auto step = makeStep();
        return std::make_unique<Repeated<decltype(step)>>(std::move(step));
    };
}

// A buffer of words. Zero is 0, and known only after the last word is written: no word of these patterns lasts
// 32768 steps.
struct Words
{
    unsigned int words[StimPattern::MaxWords] = {};
    int count = 1;

    float Zero() const { return static_cast<float>(words[count - 1] >> 31); }
};

// --- Words ---

MakeWork UnchangedWords(const Subject& subject)
{
    return Repeat([subject] {
        return [pattern = subject.Make(), out = Words(), len = subject.phases[0].len]() mutable {
            PhasesOf(*pattern)[0].len = len + out.Zero();
            out.count = pattern->WordArray(out.words, 0);
        };
    });
}

// make makes the pattern; edit(pattern, turn, zero) makes another change at each turn, 0 or 1.
template <typename Make, typename Edit>
MakeWork EditedWords(Make make, Edit edit)
{
    return Repeat([make, edit] {
        return [edit, pattern = make(), out = Words(), turn = 0]() mutable {
            turn ^= 1;
            edit(*pattern, turn, out.Zero());
            out.count = pattern->WordArray(out.words, 0);
        };
    });
}

MakeWork AmplitudeEdit(const Subject& subject)
{
    static constexpr float Amps[] = {-3 * AmpStepUa, -4 * AmpStepUa};
    if (subject.lilly)
        return EditedWords(
            [] { return std::make_unique<LillyPattern>(DefaultLilly()); },
            [](LillyPattern& pattern, int turn, float zero) { pattern.SetPhase1Amp(Amps[turn] + zero); });
    return EditedWords(
        [subject] { return subject.Make(); },
        [](StimPattern& pattern, int turn, float zero) { pattern.SetPhaseAmp(1, Amps[turn] + zero); });
}

// By three time steps, so that the leftover of the phase stays the same.
MakeWork LengthEdit(const Subject& subject)
{
    const float len = subject.phases[2].len;
    return EditedWords([subject] { return subject.Make(); },
                       [len](StimPattern& pattern, int turn, float zero) {
                           pattern.SetPhaseLen(2, len + 100 * static_cast<float>(turn) + zero);
                       });
}

MakeWork PeriodEdit(const Subject& subject)
{
    const float period = subject.Make()->Period();
    return EditedWords([subject] { return subject.Make(); },
                       [period](StimPattern& pattern, int turn, float zero) {
                           pattern.SetPeriod(period + static_cast<float>(turn) + zero);
                       });
}

// Phase 2 begins in a step that still holds the current of phase 1: the repair lengthens the IPI.
MakeWork Repair(const Subject& subject)
{
    return Repeat([subject] {
        const std::vector<phase> broken{{0, 0}, {110, -30}, {0, 0}, {110, 30}, {99780, 0}};
        auto pattern = subject.Make();
        PhasesOf(*pattern) = broken;
        if (!pattern->Update() || pattern->PhaseLen(2) == 0) throw std::logic_error("nothing to repair");
        return [broken, pattern = std::move(pattern)]() mutable {
            std::vector<phase>& phases = PhasesOf(*pattern);
            const float zero = phases[2].len > 0 ? 0.0f : 1.0f;
            std::copy(broken.begin(), broken.end(), phases.begin());
            phases[0].len += zero;
            pattern->Touch();
            pattern->Update();
        };
    });
}

MakeWork Validation(const Subject& subject)
{
    return Repeat([subject] {
        return [pattern = subject.Make(), phases = subject.phases, len = subject.phases[0].len,
                valid = true]() mutable {
            phases[0].len = len + (valid ? 0.0f : 1.0f);
            valid = pattern->PhasesValid(phases, StimPattern::MaxWords - 1);
        };
    });
}

MakeWork Writing(const Subject& subject)
{
    return Repeat([subject] {
        return [pattern = subject.Make(), out = Words(), len = subject.phases[0].len]() mutable {
            PhasesOf(*pattern)[0].len = len + out.Zero();
            out.count = pattern->WriteStimCmds(out.words, StimPattern::MaxWords);
        };
    });
}

// A continuous pattern whose next block is requested as soon as it is due.
struct Play
{
    explicit Play(const Subject& subject) : pattern(subject.Make())
    {
        pattern->SetTrainLength(std::numeric_limits<float>::max());
    }

    std::unique_ptr<StimPattern> pattern;
    StimPattern* slot = pattern.get();
    ContinuedItemPlay record{{1, &slot}, 0, 0};
    Words out;
};

MakeWork Continuation(const Subject& subject)
{
    return Repeat([subject] {
        auto play = std::make_unique<Play>(subject);
        play->record = ContinuedItemPlay({1, &play->slot}, 0, 0);
        return [play = std::move(play), len = subject.phases[0].len]() mutable {
            Words& out = play->out;
            PhasesOf(*play->pattern)[0].len = len + out.Zero();
            play->record.m_nextMsec = 0;
            out.count = play->record.ContinueCmds(3, reinterpret_cast<unsigned char*>(out.words));
        };
    });
}

MakeWork Construction(const Subject& subject)
{
    if (subject.lilly)
        return Repeat([] {
            return [count = 0]() mutable { count = DefaultLilly(count < 0 ? 1.0f : AmpStepUa).PhaseCount(); };
        });
    return Repeat([subject] {
        return [phases = subject.phases, count = 0]() mutable {
            phases[0].amp = count < 0 ? 1.0f : 0.0f;
            count = PlainOf(phases).PhaseCount();
        };
    });
}

// --- Text ---

// A line as a user writes it; the two turns differ in one amplitude.
std::string TextOf(const Subject& subject, int turn)
{
    std::string text = "Head:";
    for (std::size_t i = 0; i < subject.phases.size(); ++i) {
        const float more = i == 1 ? AmpStepUa * static_cast<float>(turn) : 0;
        text += "(" + std::to_string(std::lround(subject.phases[i].len)) + "," +
                std::to_string(std::lround(subject.phases[i].amp + more)) + ")";
    }
    text += ":DurationMsec=[1000]";
    if (subject.lilly) text += ":ChargeBalanceIdx=[0]";
    return text;
}

std::vector<std::string_view> NumbersIn(std::string_view text)
{
    std::vector<std::string_view> numbers;
    while (!text.empty()) {
        const std::string_view piece = text.substr(0, text.find_first_of("(,)[]"));
        if (!piece.empty() && (piece[0] == '-' || (piece[0] >= '0' && piece[0] <= '9')))
            numbers.push_back(piece);
        text.remove_prefix(std::min(piece.size() + 1, text.size()));
    }
    return numbers;
}

MakeWork Reading(const Subject& subject)
{
    return Repeat([subject] {
        const std::string texts[] = {TextOf(subject, 0), TextOf(subject, 1)};
        return [texts, last = static_cast<int>(subject.phases.size()) - 1, pattern = subject.Make(), turn = 0,
                errors = std::vector<std::string>(), warnings = std::vector<std::string>()]() mutable {
            turn = (turn ^ 1) + (pattern->PhaseLen(last) < 0 ? 1 : 0);
            pattern->FromString(texts[turn], AmpStepUa, errors, warnings);
        };
    });
}

MakeWork Printing(const Subject& subject)
{
    return Repeat([subject] {
        return [pattern = subject.Make(), len = subject.phases[0].len, zero = 0.0f]() mutable {
            PhasesOf(*pattern)[0].len = len + zero;
            const std::string text = pattern->ToString();
            zero = text.back() == ']' ? 0.0f : 1.0f;
        };
    });
}

// --- Floors ---

template <typename Chain>
MakeWork ChainFloor(const Subject& subject, Chain chain)
{
    return Repeat([subject, chain] {
        return [chain, phases = subject.phases, result = 0.0f]() mutable {
            result = chain(phases, TimeStepUsec, AmpStepUa, phases[0].len + 0 * result);
        };
    });
}

MakeWork CopyFloor(const Subject& subject)
{
    return Repeat([subject] {
        Words from;
        from.count = subject.Make()->WordArray(from.words, 0);
        return [from, to = Words()]() mutable {
            from.words[0] += to.words[from.count - 1] >> 31;
            CopyWords(to.words, from.words, from.count);
        };
    });
}

MakeWork ReadFloor(const Subject& subject)
{
    return Repeat([subject] {
        const auto texts = std::make_shared<std::vector<std::string>>();
        for (const int turn : {0, 1}) texts->push_back(TextOf(subject, turn));
        const std::vector<std::string_view> numbers[] = {NumbersIn(texts->front()), NumbersIn(texts->back())};
        return [texts, numbers, turn = 0, sum = 0.0]() mutable {
            turn = (turn ^ 1) + (sum < 0 ? 1 : 0);
            sum = ReadNumbers(numbers[turn]);
        };
    });
}

MakeWork PrintFloor(const Subject& subject)
{
    return Repeat([subject] {
        std::vector<float> numbers;
        for (const phase& p : subject.phases) numbers.insert(numbers.end(), {p.len, p.amp});
        numbers.push_back(1000);
        return [numbers, text = std::vector<char>(32 * numbers.size()), zero = 0.0f]() mutable {
            const char* end =
                PrintNumbers(numbers, numbers[0] + zero, text.data(), text.data() + text.size());
            zero = end[-1] == '0' ? 0.0f : 1.0f;
        };
    });
}

}  // namespace

std::string NameOf(FloorKind kind)
{
    static constexpr const char* Names[] = {
        "chain", "chain, predicted", "copy", "numbers read", "numbers printed", "clear", "allocation"};
    return Names[static_cast<int>(kind)];
}

MakeWork FloorFor(FloorKind kind, const Subject& subject)
{
    switch (kind) {
        case FloorKind::Chain:
            return ChainFloor(subject, ChainSelected);
        case FloorKind::ChainPredicted:
            return ChainFloor(subject, ChainPredicted);
        case FloorKind::Copy:
            return CopyFloor(subject);
        case FloorKind::NumbersRead:
            return ReadFloor(subject);
        case FloorKind::NumbersPrinted:
            return PrintFloor(subject);
        case FloorKind::Clear:
            return Repeat([] { return [] { ClearPattern(); }; });
        case FloorKind::Allocation:
            break;
    }
    return Repeat([subject] { return [bytes = subject.phases.size() * sizeof(phase)] { Allocate(bytes); }; });
}

std::vector<Operation> OperationsOn(const Subject& subject)
{
    using Kinds = std::vector<FloorKind>;
    constexpr FloorKind Chain = FloorKind::Chain;
    constexpr FloorKind Allocation = FloorKind::Allocation;
    const Kinds words{Chain, FloorKind::Copy};
    const Kinds edit{Chain, FloorKind::Copy, Allocation};
    const Kinds reading{FloorKind::NumbersRead, Chain, Allocation, Allocation, Allocation, Allocation};
    const Kinds construction =
        subject.lilly ? Kinds{FloorKind::Clear, Allocation} : Kinds{FloorKind::Clear, Chain, Allocation};
    std::vector<Operation> operations;
    const auto add = [&](const char* name, MakeWork make, Kinds floor, int maxAllocations) {
        operations.push_back({name, subject.name, std::move(make), std::move(floor), maxAllocations});
    };
    add("WordArray, unchanged", UnchangedWords(subject), words, 0);
    add("amplitude + WordArray", AmplitudeEdit(subject), edit, 1);
    add("SetPhaseLen + WordArray", LengthEdit(subject), edit, 1);
    add("SetPeriod + WordArray", PeriodEdit(subject), edit, 1);
    if (subject.lilly) add("repair in Update", Repair(subject), {Chain}, 0);
    add("PhasesValid", Validation(subject), {Chain, Allocation}, 1);
    add("WriteStimCmds", Writing(subject), {Chain}, 0);
    add("ContinueCmds", Continuation(subject), words, 0);
    add("FromString", Reading(subject), reading, 4);
    add("ToString", Printing(subject), {FloorKind::NumbersPrinted, Allocation}, 1);
    add("construction", Construction(subject), construction, 1);
    return operations;
}

long AllocationsOf(const Operation& operation)
{
    constexpr int Runs = 16;
    const std::unique_ptr<Work> work = operation.make();
    work->Run(Runs);
    long most = 0;
    for (int i = 0; i < Runs; ++i) {
        const long before = Allocations();
        work->Run(1);
        most = std::max(most, Allocations() - before);
    }
    return most;
}

}  // namespace bench
