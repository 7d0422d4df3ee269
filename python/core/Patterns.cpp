#include <pybind11/stl.h>

#include <climits>
#include <cmath>
#include <exception>
#include <optional>

#include "ContinuedItemPlay.h"
#include "Core.h"
#include "LillyPattern.h"
#include "PlainPattern.h"

namespace core {
namespace {

using namespace preview;

// One of the library's own kinds.
template <typename Kind>
class LibraryPattern : public Pattern
{
 public:
    LibraryPattern(const preview::Stimulator& s, Kind pattern) : Pattern(s), m_pattern(std::move(pattern)) {}

    Kind& Get() { return m_pattern; }
    StimPattern& Base() override { return m_pattern; }
    const StimPattern& Base() const override { return m_pattern; }
    std::shared_ptr<Pattern> Copy() const override { return std::make_shared<LibraryPattern>(*this); }
    void Assign(const Pattern& other) override
    {
        m_pattern = static_cast<const LibraryPattern&>(other).m_pattern;
    }
    AnyPattern Snapshot() const override { return m_pattern; }

 private:
    Kind m_pattern;
};

using Lilly = LibraryPattern<LillyPattern>;
using Plain = LibraryPattern<PlainPattern>;

PlainPattern MakePlain(const preview::Stimulator& s)
{
    return {s.budget, s.timeStepUsec, s.ampStepUa, s.AmpMaxUa()};
}

LillyPattern MakeLilly(const preview::Stimulator& s)
{
    return {s.budget, s.timeStepUsec, 0, 0, s.ampStepUa, 0, s.AmpMaxUa()};
}

// A kind that is written in Python: two functions that get copies and return an array of phases, or None to refuse.
class OwnKind : public Pattern
{
 public:
    OwnKind(const preview::Stimulator& s, py::object adjust, py::object setPeriod)
        : Pattern(s),
          m_pattern(MakePlain(s), *this),
          m_adjust(std::move(adjust)),
          m_setPeriod(std::move(setPeriod))
    {}
    OwnKind(const OwnKind& other)
        : Pattern(other),
          m_pattern(other.m_pattern, *this),
          m_adjust(other.m_adjust),
          m_setPeriod(other.m_setPeriod)
    {}
    OwnKind& operator=(const OwnKind&) = delete;

    StimPattern& Base() override
    {
        CheckIdle();
        return m_pattern;
    }
    const StimPattern& Base() const override { return m_pattern; }
    std::shared_ptr<Pattern> Copy() const override { return std::make_shared<OwnKind>(*this); }
    void Assign(const Pattern& other) override
    {
        CheckIdle();
        static_cast<StimPattern&>(m_pattern) = static_cast<const OwnKind&>(other).m_pattern;
    }
    AnyPattern Snapshot() const override
    {
        PlainPattern plain = MakePlain(Stimulator());
        plain.SetPhases(m_pattern.Phases());
        plain.SetTrainLength(m_pattern.TrainLength());
        return plain;
    }

    void Check() override
    {
        if (m_raised) std::rethrow_exception(std::exchange(m_raised, nullptr));
    }

 private:
    class OwnPattern final : public PlainPattern
    {
     public:
        OwnPattern(const PlainPattern& pattern, OwnKind& host) : PlainPattern(pattern), m_host(host) {}

        float SetPeriod(float periodMsec) override
        {
            const auto phases = m_host.Ask(m_host.m_setPeriod, m_phases, py::float_(periodMsec));
            if (phases) SetPhases(*phases);
            if (Period() > TrainLength()) SetTrainLength(Period());
            return Period();
        }
        bool AutoAdjustEnabled() override { return true; }
        bool AdjustPhases(std::vector<phase>& current, std::vector<phase>& proposed, int maxCmds) override
        {
            if (ListValid(proposed, maxCmds)) return true;
            const auto adjusted = m_host.Ask(m_host.m_adjust, current, proposed, maxCmds);
            if (!adjusted || !ListValid(*adjusted, maxCmds)) return false;
            proposed = *adjusted;
            return true;
        }

     private:
        OwnKind& m_host;
    };

    // What function makes of copies; nothing when it returns None, or raises: then Check raises it.
    template <typename... Arguments>
    std::optional<std::vector<phase>> Ask(const py::object& function, Arguments&&... arguments)
    {
        if (m_raised) return std::nullopt;
        m_asking = true;
        std::optional<std::vector<phase>> phases;
        try {
            const py::object answer = function(Argument(arguments)...);
            if (!answer.is_none()) phases = PhasesOf(py::cast<Floats>(answer));
        } catch (...) {
            m_raised = std::current_exception();
        }
        m_asking = false;
        return phases;
    }
    static py::object Argument(const std::vector<phase>& phases) { return ArrayOf(phases); }
    static py::object Argument(int number) { return py::int_(number); }
    static py::object Argument(const py::object& object) { return object; }

    void CheckIdle() const
    {
        if (m_asking)
            throw std::runtime_error(
                "the pattern is being edited: adjust_phases or set_period has not returned");
    }

    OwnPattern m_pattern;
    py::object m_adjust;
    py::object m_setPeriod;
    std::exception_ptr m_raised;
    bool m_asking = false;
};

[[noreturn]] void RefuseList(const Pattern& p, const std::vector<phase>& phases)
{
    Report report(p.Stimulator());
    if (phases.empty())
        report.encoding.refusal.emplace().reason = RefusalReason::NoPhases;
    else
        report.encoding.refusal = RefusalOf(p.Stimulator(), phases);
    Refuse(report);
}

Words WordArray(Pattern& p)
{
    StimPattern& pattern = p.Base();
    // Without phases, also after a repair that leaves none, the library has words: word 0 alone, which plays nothing.
    const bool current = pattern.PhaseCount() > 0 && pattern.Update() && pattern.PhaseCount() > 0;
    p.Check();
    const int count = current ? pattern.WordCount() : 0;
    if (count < 1) RefuseList(p, pattern.Phases());
    Words words(count);
    pattern.WordArray(words.mutable_data(), 0);
    return Frozen(std::move(words));
}

// A pattern with the phases, the train and the balance that the library reads in a text.
std::shared_ptr<Pattern> PatternOf(const preview::Stimulator& stimulator, py::handle text, bool lenient)
{
    const Reading reading = lenient ? Reading::Lenient : Reading::Strict;
    Encoding encoding(stimulator);
    Encode(stimulator, TextOf(text), reading, encoding);
    if (!encoding.Encoded()) {
        Report report(stimulator);
        ReportOn(TextOf(text), {}, reading, report);
        Refuse(report);
    }
    if (auto* plain = std::get_if<PlainPattern>(&encoding.pattern))
        return std::make_shared<Plain>(stimulator, std::move(*plain));
    return std::make_shared<Lilly>(stimulator, std::get<LillyPattern>(std::move(encoding.pattern)));
}

void SetPhases(Pattern& p, const Floats& array)
{
    const std::vector<phase> phases = PhasesOf(array);
    if (phases.empty() || !p.Base().PhasesValid(phases, p.Base().MaxCmds())) RefuseList(p, phases);
    p.Base().SetPhases(phases);
}

bool SetPhase(Pattern& p, int index, float lenUsec, float ampUa)
{
    const bool taken = p.Base().SetPhase(index, {lenUsec, ampUa});
    p.Check();
    return taken;
}

// --- Continued play ---

class Play
{
 public:
    Play(std::shared_ptr<Pattern> pattern, int channel, int cyclesStarted, std::int64_t nowMsec)
        : m_pattern(std::move(pattern)),
          m_slot(&m_pattern->Base()),
          m_play({channel, &m_slot}, cyclesStarted, Clock(nowMsec))
    {}
    Play(const Play&) = delete;
    Play& operator=(const Play&) = delete;

    std::int64_t Due() const { return m_play.m_nextMsec; }
    int CyclesLeft() const { return m_play.RemCycles(); }
    bool Ready(std::int64_t nowMsec) const
    {
        return m_play.RemCycles() > 0 && m_play.ReadyToContinue(Clock(nowMsec));
    }

    // None when nothing is due or left. NotPlayable when the pattern has no words any more.
    py::object Next(std::int64_t nowMsec)
    {
        if (!Ready(nowMsec)) return py::none();
        m_slot = &m_pattern->Base();
        if (m_slot->PhaseCount() == 0) RefuseList(*m_pattern, {});
        unsigned int words[StimPattern::MaxWords];
        const int count = m_play.ContinueCmds(Clock(nowMsec), reinterpret_cast<unsigned char*>(words));
        m_pattern->Check();
        if (count < 1) RefuseList(*m_pattern, m_slot->Phases());
        Words array(count);
        std::copy(words, words + count, array.mutable_data());
        return Frozen(std::move(array));
    }

 private:
    static long Clock(std::int64_t msec)
    {
        if (msec < LONG_MIN || msec > LONG_MAX)
            throw py::value_error("now_ms: does not fit the clock of this platform");
        return static_cast<long>(msec);
    }

    std::shared_ptr<Pattern> m_pattern;
    StimPattern* m_slot;
    ContinuedItemPlay m_play;
};

// --- Bindings ---

void BindLilly(py::module_& module)
{
    // Lengths are set with leave to extend the period, or without.
    const auto length = [](auto set) {
        return [set](Lilly& p, float value, bool extend) { (p.Get().*set)(value, extend); };
    };
    const auto amplitude = [](auto set) { return [set](Lilly& p, float value) { (p.Get().*set)(value); }; };
    const auto value = [](auto get) { return [get](Lilly& p) { return (p.Get().*get)(); }; };
    const py::arg to("value"), extend("extend_period");
    py::class_<Lilly, Pattern, std::shared_ptr<Lilly>>(module, "Lilly")
        .def(py::init([](const preview::Stimulator& s) { return std::make_shared<Lilly>(s, MakeLilly(s)); }),
             py::arg("stimulator"))
        .def("set_phase1_us", length(&LillyPattern::SetPhase1Len), to, extend)
        .def("set_phase2_us", length(&LillyPattern::SetPhase2Len), to, extend)
        .def("set_ipi_us", length(&LillyPattern::SetIPI), to, extend)
        .def("set_offset_ms", length(&LillyPattern::SetOffset), to, extend)
        .def("set_amplitude_ua", amplitude(&LillyPattern::SetPhase1Amp), to)
        .def("set_amplitude2_ua", amplitude(&LillyPattern::SetPhase2Amp), to)
        .def(
            "set_balance", [](Lilly& p, int mode) { p.Get().SetChargeBalanceMode(mode); }, to)
        .def(
            "set_polarity",
            [](Lilly& p, int anodalFirst) {
                p.Get().SetPolarity(anodalFirst != 0 ? Stim::PositiveFirst : Stim::NegativeFirst);
            },
            to)
        .def_property_readonly("phase1_us", value(&LillyPattern::Phase1Len))
        .def_property_readonly("phase2_us", value(&LillyPattern::Phase2Len))
        .def_property_readonly("ipi_us", value(&LillyPattern::IPI))
        .def_property_readonly("offset_ms", value(&LillyPattern::Offset))
        .def_property_readonly("amplitude_ua", value(&LillyPattern::Phase1Amp))
        .def_property_readonly("amplitude2_ua", value(&LillyPattern::Phase2Amp))
        .def_property_readonly("balance", [](Lilly& p) { return p.Get().BalanceMode(); })
        .def_property_readonly("polarity",
                               [](Lilly& p) { return p.Get().Polarity() == Stim::PositiveFirst ? 1 : 0; });
}

}  // namespace

void BindPatterns(py::module_& module)
{
    const auto setter = [](auto set) {
        return [set](Pattern& p, float value) {
            (p.Base().*set)(value);
            p.Check();
        };
    };
    const auto value = [](auto get) { return [get](const Pattern& p) { return (p.Base().*get)(); }; };
    const py::arg to("value");
    py::class_<Pattern, std::shared_ptr<Pattern>>(module, "Pattern")
        .def("copy", &Pattern::Copy)
        .def("assign", &Pattern::Assign, py::arg("other"))
        .def("words", &WordArray)
        .def("phases", [](const Pattern& p) { return ArrayOf(p.Base().Phases()); })
        .def("set_phases", &SetPhases, py::arg("phases"))
        .def("set_phase", &SetPhase, py::arg("index"), py::arg("length_us"), py::arg("amplitude_ua"))
        .def("set_period_ms", setter(&StimPattern::SetPeriod), to)
        .def("set_frequency_hz", setter(&StimPattern::SetFrequency), to)
        .def("set_train_ms", setter(&StimPattern::SetTrainLength), to)
        .def(
            "set_pulses", [](Pattern& p, int cycles) { p.Base().SetCycleCount(cycles); }, to)
        .def("text", [](Pattern& p) { return p.Base().ToString(); })
        .def_property(
            "label", [](const Pattern& p) { return p.Base().Label(); },
            [](Pattern& p, py::handle label) { p.Base().SetLabel(std::string(TextOf(label, "label"))); })
        .def_property_readonly("period_ms", value(&StimPattern::Period))
        .def_property_readonly("frequency_hz", value(&StimPattern::Frequency))
        .def_property_readonly(
            "train_ms",
            [](const Pattern& p) { return p.Base().IsContinuous() ? HUGE_VALF : p.Base().TrainLength(); })
        .def_property_readonly("pulses", value(&StimPattern::CycleCount))
        .def_property_readonly("continuous", value(&StimPattern::IsContinuous))
        .def_property_readonly("change_count", value(&StimPattern::ChangeCount));

    py::class_<Plain, Pattern, std::shared_ptr<Plain>>(module, "Plain")
        .def(py::init([](const preview::Stimulator& s) { return std::make_shared<Plain>(s, MakePlain(s)); }),
             py::arg("stimulator"));
    BindLilly(module);
    module.def("pattern_of", &PatternOf, py::arg("stimulator"), py::arg("text"), py::arg("lenient"));
    py::class_<OwnKind, Pattern, std::shared_ptr<OwnKind>>(module, "OwnKind")
        .def(py::init<const preview::Stimulator&, py::object, py::object>(), py::arg("stimulator"),
             py::arg("adjust_phases"), py::arg("set_period"));

    py::class_<Play>(module, "Play")
        .def(py::init<std::shared_ptr<Pattern>, int, int, std::int64_t>(), py::arg("pattern"),
             py::arg("channel"), py::arg("cycles_started"), py::arg("now_ms"))
        .def_property_readonly("due_ms", &Play::Due)
        .def_property_readonly("cycles_left", &Play::CyclesLeft)
        .def("ready", &Play::Ready, py::arg("now_ms"))
        .def("next", &Play::Next, py::arg("now_ms"));
}

}  // namespace core
