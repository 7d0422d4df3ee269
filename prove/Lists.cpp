// Every list of phases, where validation and writer together have finitely many states.
//
// The state before a phase is the time that validation and the writer carry, whether each takes it for a current, and the
// current that the list asks for in that time. The search starts with nothing carried and makes each step with the real
// walks, for every length and for a pause, two currents, and half an amplitude step, whose words have no current. It ends
// when no step leads to a new state: then its result is true for lists of any number of phases. On time steps where
// rounding always makes new states, it stops at a given number of phases.
//
//     prove-lists LONGEST DEPTH
//
//   LONGEST   on a power of two every length up to this is tried, microseconds
//   DEPTH     most phases of a list on the other time steps
//
// Prints a table, an example of each finding, and all lists of two phases on 10 us that rounding leaves just full.
// Exits with 1 when a phase gains or loses more time than the bounds of the manual, when an accepted list has no
// words for a reason that the manual does not list, or when rounding decides anything on a power of two.

#include <array>
#include <cmath>
#include <cstdlib>
#include <unordered_set>

#include "CommandWriter.h"
#include "Sweep.h"
#include "WordCounter.h"

namespace {

using namespace TarvUtil::Internal;

constexpr float AmpStepUa = 1;
constexpr std::array<float, 4> Amplitudes{0, 1, -2, 0.5f};

int StepsOf(float amp)
{
    return ToInt(AmplitudeSteps(amp, AmpStepUa));
}

// --- One step of the search ---

// The words of the phase that this thread has just written.
struct Words
{
    CommandWord junction{};
    CommandWord whole{};
    int junctions = 0;
    int wholes = 0;
    double steps = 0;
};

Words& Written()
{
    thread_local Words words;
    return words;
}

struct Recorder
{
    bool Put(const CommandWord& word, WordRole role)
    {
        Words& written = Written();
        const bool junction = role == WordRole::Junction;
        (junction ? written.junction : written.whole) = word;
        ++(junction ? written.junctions : written.wholes);
        written.steps += word.timeSteps;
        return true;
    }
};

// What both walks carry into a phase, and what the list asks for in the carried time.
struct State
{
    WordCounter counter;
    CommandWriter<Recorder> writer;
    std::size_t asked = 0;  // of Amplitudes
    std::size_t from = 0;   // the state before, and the phase that led here
    phase last{};

    float Carried() const { return writer.State().carriedUsec; }
};

struct Key
{
    explicit Key(const State& state)
        : counter(prove::BitsOf(state.counter.State().carriedUsec)),
          writer(prove::BitsOf(state.Carried())),
          rest(static_cast<std::uint32_t>(state.asked * 64) +
               static_cast<std::uint32_t>(state.writer.State().lastSteps + 4) * 4 +
               (state.counter.State().active ? 2U : 0U) + (state.writer.State().active ? 1U : 0U))
    {}

    bool operator==(const Key& o) const
    {
        return counter == o.counter && writer == o.writer && rest == o.rest;
    }

    std::uint32_t counter, writer, rest;
};

struct Hash
{
    std::size_t operator()(const Key& key) const
    {
        const std::uint64_t mixed = (key.counter * std::uint64_t{0x9E3779B97F4A7C15}) ^
                                    (key.writer * std::uint64_t{0xC2B2AE3D27D4EB4F}) ^ (key.rest << 7);
        return mixed ^ mixed >> 29;
    }
};

enum Finding : std::size_t
{
    None,
    Short,  // accepted, not written: a pause, or a phase that lacks half a microsecond, ends inside the step
            // that it shares, for both walks
    JustFull,      // accepted, not written: a phase reaches floor(T) of the step that it shares, but
                   // rounding leaves it short
    Differ,        // accepted, not written: one walk carries a leftover that the other drops
    NotWritten,    // accepted, not written for any other reason
    NotAccepted,   // not accepted, but written as asked
    WrongCurrent,  // accepted, but a current is not where it should be
    BeyondBound,   // accepted, but the phase gains or loses too much time
    Refused,       // not accepted, and it has no good words either
    Findings
};

// Whether the words of the phase have its current where it lies, and that of the carried time where that lies.
bool CurrentsAreRight(const State& before, float amp)
{
    const Words& written = Written();
    const int asked = StepsOf(Amplitudes[before.asked]);
    const int own = StepsOf(amp);
    if (written.wholes > 0 && (written.whole.ampSteps != own || (own != 0 && !written.whole.ampAfterSplit)))
        return false;
    if (!(before.Carried() > 0)) return written.junctions == 0;
    if (written.junctions == 0) return asked == own;  // carried time became a part of the phase
    const CommandWord& word = written.junction;
    return written.junctions == 1 && word.timeSteps == 1 &&
           word.splitUsec == static_cast<unsigned int>(before.Carried()) &&
           (word.ampAfterSplit ? 0 : word.ampSteps) == asked &&
           (word.ampAfterSplit ? word.ampSteps : 0) == own;
}

// Whether the phase gains or loses no more time than the bounds of the manual.
bool TimeIsRight(const State& before, const State& after, float lenUsec, float timeStepUsec)
{
    const double step = static_cast<double>(timeStepUsec);
    const double len = static_cast<double>(lenUsec);
    const double drop = std::min(0.5, 0.985 * step);
    const double gain = std::max(0.015 * step, step - std::max(std::floor(step), 0.5));
    const double rounding = (len + step) * 0x1p-22;
    const double gained = Written().steps * step + static_cast<double>(after.Carried()) -
                          static_cast<double>(before.Carried()) - len;
    return gained >= -drop - rounding && gained <= gain + rounding;
}

// Writes the phase in the state after, which is a copy of before; None when both walks took it and all is right.
Finding Step(const State& before, State& after, const phase& p, std::size_t amplitude, float timeStep)
{
    Words& written = Written();
    written = Words();
    const bool accepted = after.counter.Count(p, false) == Meeting::Fits;
    const bool wrote = after.writer.Write(p, false, false);
    if (!accepted) {
        const bool merged = before.Carried() > 0 && written.junctions == 0;
        return wrote && !merged && CurrentsAreRight(before, p.amp) ? NotAccepted : Refused;
    }
    if (!wrote) {
        constexpr float Near = 0.05f;  // far above rounding, far below what lengths can differ by
        const float carried = before.counter.State().carriedUsec;
        const float missing = std::floor(timeStep) - (before.Carried() + p.len);
        if (std::fabs(carried - before.Carried()) > Near) return Differ;
        if (missing > Near) return p.amp == 0 || missing <= 0.5f + Near ? Short : NotWritten;
        return missing > 0 ? JustFull : NotWritten;
    }
    const bool sameStep = written.steps == 0 && before.Carried() > 0;
    after.asked = !(after.Carried() > 0) ? 0 : sameStep ? before.asked : amplitude;
    if (!TimeIsRight(before, after, p.len, timeStep)) return BeyondBound;
    return CurrentsAreRight(before, p.amp) ? None : WrongCurrent;
}

// --- The search ---

struct Count
{
    std::uint64_t count = 0;
    std::size_t from = 0;  // the first: a state and the phase after it
    phase last{};
};

class Search
{
 public:
    Search(float timeStepUsec, std::vector<float> lengths)
        : m_timeStep(timeStepUsec), m_lengths(std::move(lengths))
    {
        m_states.push_back({WordCounter(m_timeStep, AmpStepUa), {m_timeStep, AmpStepUa, m_recorder}});
        m_known.insert(Key(m_states.back()));
    }

    // Takes up to depth more phases; false when there could be more.
    bool Run(int depth)
    {
        for (std::size_t begin = 0; begin < m_states.size(); --depth) {
            if (depth == 0) return false;
            const std::size_t end = m_states.size();
            Layer(begin, end);
            begin = end;
        }
        return true;
    }

    std::string Example(Finding finding) const
    {
        const Count& found = m_found[finding];
        std::vector<phase> phases{found.last};
        for (std::size_t i = found.from; i != 0; i = m_states[i].from) phases.push_back(m_states[i].last);
        std::string text;
        for (std::size_t i = phases.size(); i-- > 0;) {
            char item[60];
            std::snprintf(item, sizeof item, "(%.9g,%g)", static_cast<double>(phases[i].len),
                          static_cast<double>(phases[i].amp));
            text += item;
        }
        return text;
    }

    std::uint64_t CountOf(Finding finding) const { return m_found[finding].count; }
    std::size_t States() const { return m_states.size(); }
    std::uint64_t Steps() const { return m_steps; }

 private:
    // What the steps from one state led to.
    struct Found
    {
        std::vector<State> states;
        std::array<Count, Findings> counts{};
    };

    void Layer(std::size_t begin, std::size_t end)
    {
        std::vector<Found> found(end - begin);
        std::atomic<std::size_t> next{begin};
        const auto work = [&] {
            for (std::size_t i = next++; i < end; i = next++) StepFrom(i, found[i - begin]);
        };
        std::vector<std::thread> threads;
        for (unsigned int n = std::max(1U, std::thread::hardware_concurrency()); n > 0; --n)
            threads.emplace_back(work);
        for (std::thread& thread : threads) thread.join();
        for (const Found& one : found) Merge(one);
        m_steps += static_cast<std::uint64_t>(end - begin) * m_lengths.size() * Amplitudes.size();
    }

    void StepFrom(std::size_t i, Found& found) const
    {
        std::unordered_set<Key, Hash> seen;
        const State& before = m_states[i];
        for (const float len : m_lengths) {
            for (std::size_t amplitude = 0; amplitude < Amplitudes.size(); ++amplitude) {
                State after = before;
                after.from = i;
                after.last = {len, Amplitudes[amplitude]};
                const Finding finding = Step(before, after, after.last, amplitude, m_timeStep);
                if (found.counts[finding].count++ == 0) {
                    found.counts[finding].from = i;
                    found.counts[finding].last = after.last;
                }
                const bool on = finding == None || finding == WrongCurrent || finding == BeyondBound;
                if (on && seen.insert(Key(after)).second && m_known.count(Key(after)) == 0)
                    found.states.push_back(after);
            }
        }
    }

    void Merge(const Found& found)
    {
        for (const State& state : found.states)
            if (m_known.insert(Key(state)).second) m_states.push_back(state);
        for (std::size_t finding = 0; finding < Findings; ++finding) {
            const Count& more = found.counts[finding];
            if (m_found[finding].count == 0)
                m_found[finding] = more;
            else
                m_found[finding].count += more.count;
        }
    }

    float m_timeStep;
    std::vector<float> m_lengths;
    Recorder m_recorder;
    std::vector<State> m_states;
    std::unordered_set<Key, Hash> m_known;
    std::array<Count, Findings> m_found{};
    std::uint64_t m_steps = 0;
};

// Numbers in ascending order, those that follow each other at a distance of step as ranges: "99, 199 to 299".
std::string Ranges(const std::vector<int>& numbers, int step)
{
    std::string text;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        std::size_t last = i;
        while (last + 1 < numbers.size() && numbers[last + 1] == numbers[last] + step) ++last;
        text += (text.empty() ? "" : ", ") + std::to_string(numbers[i]);
        if (last > i) text += (last > i + 1 ? " to " : ", ") + std::to_string(numbers[last]);
        i = last;
    }
    return text;
}

// The first phases, without current and up to longest us, after which a second that fills its step is accepted and
// not written. amplitude: of the second.
std::vector<int> JustFullBefore(int timeStep, int second, std::size_t amplitude, int longest)
{
    const auto step = static_cast<float>(timeStep);
    Recorder recorder;
    const State start{WordCounter(step, AmpStepUa), {step, AmpStepUa, recorder}};
    std::vector<int> firsts;
    for (int first = timeStep - second; first <= longest; first += timeStep) {
        State between = start;
        if (Step(start, between, {static_cast<float>(first), 0}, 0, step) != None) continue;
        State after = between;
        const phase last{static_cast<float>(second), Amplitudes[amplitude]};
        if (Step(between, after, last, amplitude, step) == JustFull) firsts.push_back(first);
    }
    return firsts;
}

// A line for each length of the second phase. Currents are said where they matter.
std::string JustFullPairs(int timeStep, int longest)
{
    std::string text;
    for (int second = 1; second < timeStep; ++second) {
        const std::vector<int> pause = JustFullBefore(timeStep, second, 0, longest);
        const std::vector<int> current = JustFullBefore(timeStep, second, 1, longest);
        const auto line = [&](const char* amplitude, const std::vector<int>& firsts) {
            if (firsts.empty()) return;
            text += "- (F,0)(" + std::to_string(second) + ',' + amplitude + "): F = ";
            text += Ranges(firsts, timeStep) + '\n';
        };
        if (pause == current) {
            line("any", pause);
        } else {
            line("0", pause);
            line("1", current);
        }
    }
    return text;
}

struct Plan
{
    float timeStep;
    float grid;  // lengths are its multiples
    int depth;   // most phases of a list; 0 for any number
};

constexpr Plan Plans[] = {{1, 1, 0},  {2, 1, 0},          {4, 1, 0},     {8, 1, 0},   {16, 1, 0},
                          {32, 1, 0}, {64, 1, 0},         {16, 0.5f, 0}, {10, 1, 12}, {20, 1, 8},
                          {25, 1, 6}, {33.333332f, 1, 3}, {50, 1, 5},    {100, 1, 3}, {20, 0.5f, 3}};

// All lengths, or those up to four time steps and longer ones around whole numbers of steps.
std::vector<float> Lengths(const Plan& plan, float longest)
{
    std::vector<float> lengths;
    const auto count = static_cast<int>((plan.depth == 0 ? longest : 4 * plan.timeStep) / plan.grid);
    for (int i = 0; i <= count; ++i) lengths.push_back(static_cast<float>(i) * plan.grid);
    if (plan.depth == 0) return lengths;
    const auto around = static_cast<int>(2 / plan.grid);
    for (const float steps : {7.0f, 10.0f, 13.0f, 100.0f, 500.0f})
        for (int i = -around; i <= around; ++i)
            lengths.push_back(std::round(steps * plan.timeStep) + static_cast<float>(i) * plan.grid);
    return lengths;
}

std::string Number(std::uint64_t count)
{
    return std::to_string(count);
}

// Prints a row, adds examples, and returns whether all is as it should be.
bool Prove(const Plan& plan, float longest, int depth, std::string& examples)
{
    Search search(plan.timeStep, Lengths(plan, longest));
    const int most = std::min(plan.depth, depth);
    const bool complete = search.Run(plan.depth == 0 ? 1000 : most);
    const double step = static_cast<double>(plan.timeStep);
    std::printf("| %.8g | %g | %s | %zu | %s |", step, static_cast<double>(plan.grid),
                complete ? "any number" : Number(static_cast<std::uint64_t>(most)).c_str(), search.States(),
                Number(search.Steps()).c_str());
    for (const Finding finding : {Short, JustFull, NotAccepted, WrongCurrent})
        std::printf(" %s |", Number(search.CountOf(finding)).c_str());
    std::printf("\n");
    std::fflush(stdout);

    static constexpr const char* Names[] = {"",
                                            "",
                                            "accepted, not written, just full",
                                            "accepted, not written, carried by one walk alone",
                                            "accepted, not written for another reason",
                                            "not accepted, but written as asked",
                                            "a current in the wrong phase",
                                            "time beyond the bound"};
    for (const Finding finding : {JustFull, Differ, NotWritten, NotAccepted, WrongCurrent, BeyondBound}) {
        if (search.CountOf(finding) == 0) continue;
        char text[100];
        std::snprintf(text, sizeof text, "- On %.8g us %s: ", step, Names[finding]);
        examples += text + search.Example(finding) + '\n';
    }
    const auto none = [&search](Finding finding) { return search.CountOf(finding) == 0; };
    const bool powerOfTwo = plan.depth == 0;
    if (complete != powerOfTwo || !none(BeyondBound) || !none(NotWritten)) return false;
    // Halves on another step lie on a threshold: there the search must find what rounding does.
    if (plan.grid < 1)
        return powerOfTwo ? none(JustFull) && none(Differ) && none(WrongCurrent) : !none(WrongCurrent);
    return none(Differ) && none(NotAccepted) && none(WrongCurrent) && (!powerOfTwo || none(JustFull));
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 3) return 2;
    std::printf(
        "| Time step | Lengths, multiples of | Phases | States | Steps tried | Short | Just full "
        "| Not accepted | Wrong current |\n|--:|--:|---|--:|--:|--:|--:|--:|--:|\n");
    bool good = true;
    std::string examples;
    for (const Plan& plan : Plans)
        good &= Prove(plan, std::strtof(argv[1], nullptr), std::atoi(argv[2]), examples);
    std::printf("\n%s", examples.c_str());
    constexpr int Longest = 2000;
    std::printf(
        "\nJust full, all lists of two phases on 10 us with F up to %d us; ranges in steps of 10 us:\n\n%s",
        Longest, JustFullPairs(10, Longest).c_str());
    return good ? 0 : 1;
}
