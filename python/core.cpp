// The compiled core of the Python package: patterns, words and reports, as thin as they can be. What people see is
// written in Python.

#include <pybind11/functional.h>
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <climits>
#include <cmath>
#include <exception>
#include <memory>
#include <optional>

#include "ContinuedItemPlay.h"
#include "Json.h"
#include "Report.h"
#include "Sentences.h"

namespace py = pybind11;
using namespace preview;

namespace {

using Words = py::array_t<std::uint32_t>;
using Floats = py::array_t<float, py::array::c_style | py::array::forcecast>;

// An array that Python cannot change.
template <typename T>
py::array_t<T> Frozen(py::array_t<T> array)
{
    array.attr("flags").attr("writeable") = false;
    return array;
}

Words ArrayOf(const std::vector<unsigned int>& words)
{
    Words array(static_cast<py::ssize_t>(words.size()));
    std::copy(words.begin(), words.end(), array.mutable_data());
    return Frozen(std::move(array));
}

// (n, 2) of lengths in microseconds and amplitudes in microamperes.
py::array_t<float> ArrayOf(const std::vector<phase>& phases)
{
    py::array_t<float> array({static_cast<py::ssize_t>(phases.size()), py::ssize_t{2}});
    auto cell = array.mutable_unchecked<2>();
    py::ssize_t row = 0;
    for (const phase& p : phases) {
        cell(row, 0) = p.len;
        cell(row, 1) = p.amp;
        ++row;
    }
    return array;
}

std::vector<phase> PhasesOf(const Floats& array)
{
    if (array.ndim() != 2 || array.shape(1) != 2)
        throw py::value_error("phases: not an array of shape (n, 2): length_us, amplitude_ua");
    std::vector<phase> phases;
    phases.reserve(static_cast<std::size_t>(array.shape(0)));
    const auto cell = array.unchecked<2>();
    for (py::ssize_t row = 0; row < array.shape(0); ++row) {
        if (!std::isfinite(cell(row, 0)) || !std::isfinite(cell(row, 1)))
            throw py::value_error("phases: row " + std::to_string(row) +
                                  " is not finite in single precision");
        phases.push_back({cell(row, 0), cell(row, 1)});
    }
    return phases;
}

// --- Patterns ---

// What every pattern offers, over the library's object; OwnKind derives from it for kinds that are written in Python.
class Pattern
{
 public:
    virtual ~Pattern() = default;

    virtual StimPattern& Base() = 0;
    const StimPattern& Base() const { return const_cast<Pattern*>(this)->Base(); }

    // After an operation of the library: raises what Python raised while it ran.
    virtual void Check() {}

    Words WordArray()
    {
        const bool current = Base().Update();
        Check();
        const int count = current ? Base().WordCount() : 0;
        Words words(count);
        if (count > 0) Base().WordArray(words.mutable_data(), 0);
        Check();
        return Frozen(std::move(words));
    }

    bool SetPhases(const Floats& array)
    {
        const std::vector<phase> phases = PhasesOf(array);
        const bool valid = Base().PhasesValid(phases, Base().MaxCmds());
        if (valid) Base().SetPhases(phases);
        return valid;
    }

    bool Fits(const Floats& phases) const { return Base().PhasesValid(PhasesOf(phases), Base().MaxCmds()); }
};

class Plain : public Pattern
{
 public:
    explicit Plain(const Stimulator& s) : m_pattern(s.budget, s.timeStepUsec, s.ampStepUa, s.AmpMaxUa()) {}
    StimPattern& Base() override { return m_pattern; }

 private:
    PlainPattern m_pattern;
};

class Lilly : public Pattern
{
 public:
    explicit Lilly(const Stimulator& s)
        : m_pattern(s.budget, s.timeStepUsec, 0, 0, s.ampStepUa, 0, s.AmpMaxUa())
    {}
    StimPattern& Base() override { return m_pattern; }
    LillyPattern& Get() { return m_pattern; }

 private:
    LillyPattern m_pattern;
};

// A kind that is written in Python: two functions that get copies and return a list of phases, or None to refuse.
class OwnKind : public Pattern
{
 public:
    OwnKind(const Stimulator& s, py::object adjust, py::object setPeriod)
        : m_pattern(s, *this), m_adjust(std::move(adjust)), m_setPeriod(std::move(setPeriod))
    {}

    StimPattern& Base() override { return m_pattern; }

    void Check() override
    {
        if (m_raised) std::rethrow_exception(std::exchange(m_raised, nullptr));
    }

 private:
    class OwnPattern final : public StimPattern
    {
     public:
        OwnPattern(const Stimulator& s, OwnKind& host)
            : StimPattern(s.budget, s.timeStepUsec, 0, 0, s.ampStepUa, s.AmpMaxUa()), m_host(host)
        {}

        float SetPeriod(float periodMsec) override
        {
            const auto phases = m_host.Ask(m_host.m_setPeriod, m_phases, py::float_(periodMsec));
            if (phases) SetPhases(*phases);
            return Period();
        }
        void Defaults() override { ClearPhases(); }
        bool PhaseCountFixed() override { return false; }
        bool AutoAdjustEnabled() override { return true; }
        bool AdjustPhases(std::vector<phase>& current, std::vector<phase>& proposed, int maxCmds) override
        {
            if (ListValid(proposed, maxCmds)) return true;
            const auto adjusted =
                m_host.Ask(m_host.m_adjust, current, py::cast<py::object>(ArrayOf(proposed)), maxCmds);
            if (!adjusted || !ListValid(*adjusted, maxCmds)) return false;
            proposed = *adjusted;
            return true;
        }

     private:
        OwnKind& m_host;
    };

    // What function makes of a copy of the phases; nothing when it returns None, or raises: then Check raises it.
    template <typename... Arguments>
    std::optional<std::vector<phase>> Ask(const py::object& function, const std::vector<phase>& phases,
                                          Arguments&&... arguments)
    {
        if (m_raised) return std::nullopt;
        try {
            const py::object answer = function(ArrayOf(phases), std::forward<Arguments>(arguments)...);
            if (answer.is_none()) return std::nullopt;
            return PhasesOf(py::cast<Floats>(answer));
        } catch (...) {
            m_raised = std::current_exception();
            return std::nullopt;
        }
    }

    OwnPattern m_pattern;
    py::object m_adjust;
    py::object m_setPeriod;
    std::exception_ptr m_raised;
};

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

    // None when nothing is due or left, or the pattern has no words.
    py::object Next(std::int64_t nowMsec)
    {
        unsigned int words[StimPattern::MaxWords];
        const int count = m_play.ContinueCmds(Clock(nowMsec), reinterpret_cast<unsigned char*>(words));
        m_pattern->Check();
        if (count < 1) return py::none();
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

// --- Texts ---

// Raised as tarvutil.NotPlayable, with the JSON of the report.
struct NotPlayable
{
    std::string report;
};

[[noreturn]] void Refuse(const Report& report)
{
    throw NotPlayable{ReportJson(report, {})};
}

void CheckUsable(const Stimulator& stimulator)
{
    if (const auto unusable = stimulator.Unusable()) throw py::value_error(Sentence(stimulator, *unusable));
}

Words EncodeText(const Stimulator& stimulator, std::string_view text, bool lenient)
{
    Encoding encoding(stimulator);
    Encode(stimulator, text, lenient ? Reading::Lenient : Reading::Strict, encoding);
    if (!encoding.Encoded()) {
        Report report(stimulator);
        ReportOn(text, {}, lenient ? Reading::Lenient : Reading::Strict, report);
        Refuse(report);
    }
    return ArrayOf(encoding.words);
}

// Encodes all texts without the interpreter's lock, then makes the arrays. The first that is refused is raised.
py::list EncodeTexts(const Stimulator& stimulator, const std::vector<std::string_view>& texts, bool lenient)
{
    const Reading reading = lenient ? Reading::Lenient : Reading::Strict;
    std::vector<unsigned int> words;
    std::vector<std::size_t> ends;
    std::optional<std::size_t> refused;
    {
        const py::gil_scoped_release release;
        ends.reserve(texts.size());
        Encoding encoding(stimulator);
        for (std::size_t i = 0; i < texts.size() && !refused; ++i) {
            Encode(stimulator, texts[i], reading, encoding);
            if (!encoding.Encoded()) refused = i;
            words.insert(words.end(), encoding.words.begin(), encoding.words.end());
            ends.push_back(words.size());
        }
    }
    if (refused) {
        Report report(stimulator);
        ReportOn(texts[*refused], {}, reading, report);
        Refuse(report);
    }
    // The arrays are views of one that holds all words.
    const Words all = ArrayOf(words);
    py::list arrays(texts.size());
    std::size_t begin = 0;
    for (std::size_t i = 0; i < ends.size(); ++i) {
        Words view(static_cast<py::ssize_t>(ends[i] - begin), all.data() + begin, all);
        arrays[i] = Frozen(std::move(view));
        begin = ends[i];
    }
    return arrays;
}

// A report that has been made: its JSON, words and picture.
class MadeReport
{
 public:
    MadeReport(const Stimulator& stimulator, std::string_view text, bool lenient) : m_report(stimulator)
    {
        ReportOn(text, {}, lenient ? Reading::Lenient : Reading::Strict, m_report);
    }

    std::string Json() const { return ReportJson(m_report, {}); }
    Words WordArray() const { return ArrayOf(m_report.encoding.words); }

 private:
    Report m_report;
};

}  // namespace

PYBIND11_MODULE(_core, module)
{
    module.doc() = "The compiled core of tarvutil.";
    module.attr("version") = TARVUTIL_VERSION;

    static const py::handle notPlayable =
        py::exception<NotPlayable>(module, "NotPlayable", PyExc_ValueError).release();
    py::register_exception_translator([](std::exception_ptr raised) {
        try {
            if (raised) std::rethrow_exception(raised);
        } catch (const NotPlayable& refused) {
            PyErr_SetString(notPlayable.ptr(), refused.report.c_str());
        }
    });

    py::class_<Stimulator>(module, "Stimulator")
        .def(py::init([](bool plain, float timeStepUsec, float ampStepUa, std::optional<float> ampMaxUa,
                         int budget) {
                 const Stimulator stimulator{plain ? PatternKind::Plain : PatternKind::Lilly, timeStepUsec,
                                             ampStepUa, ampMaxUa, budget};
                 CheckUsable(stimulator);
                 return stimulator;
             }),
             py::arg("plain"), py::arg("time_step_us"), py::arg("amp_step_ua"), py::arg("amp_max_ua"),
             py::arg("budget"))
        .def_property_readonly("plain", [](const Stimulator& s) { return s.pattern == PatternKind::Plain; })
        .def_readonly("time_step_us", &Stimulator::timeStepUsec)
        .def_readonly("amp_step_ua", &Stimulator::ampStepUa)
        .def_property_readonly("amp_max_ua", &Stimulator::AmpMaxUa)
        .def_readonly("budget", &Stimulator::budget)
        .def("encode_text", EncodeText, py::arg("text"), py::arg("lenient"))
        .def("encode_texts", EncodeTexts, py::arg("texts"), py::arg("lenient"));

    py::class_<MadeReport>(module, "Report")
        .def(py::init<const Stimulator&, std::string_view, bool>(), py::arg("stimulator"), py::arg("text"),
             py::arg("lenient"))
        .def("json", &MadeReport::Json)
        .def("words", &MadeReport::WordArray);

    using Base = Pattern;
    py::class_<Base, std::shared_ptr<Base>>(module, "Pattern")
        .def("words", &Base::WordArray)
        .def("phases", [](Base& p) { return ArrayOf(p.Base().Phases()); })
        .def("set_phases", &Base::SetPhases, py::arg("phases"))
        .def("fits", &Base::Fits, py::arg("phases"))
        .def(
            "set_phase",
            [](Base& p, int index, float lenUsec, float ampUa) {
                const bool taken = p.Base().SetPhase(index, {lenUsec, ampUa});
                p.Check();
                return taken;
            },
            py::arg("index"), py::arg("length_us"), py::arg("amplitude_ua"))
        .def(
            "set_period",
            [](Base& p, float periodMsec) {
                p.Base().SetPeriod(periodMsec);
                p.Check();
            },
            py::arg("period_ms"))
        .def(
            "set_frequency",
            [](Base& p, float hz) {
                p.Base().SetFrequency(hz);
                p.Check();
            },
            py::arg("frequency_hz"))
        .def(
            "set_train", [](Base& p, float msec) { p.Base().SetTrainLength(msec); }, py::arg("train_ms"))
        .def(
            "set_cycles", [](Base& p, int cycles) { p.Base().SetCycleCount(cycles); }, py::arg("cycles"))
        .def("text", [](Base& p) { return p.Base().ToString(); })
        .def_property_readonly("period_ms", [](Base& p) { return p.Base().Period(); })
        .def_property_readonly("frequency_hz", [](Base& p) { return p.Base().Frequency(); })
        .def_property_readonly(
            "train_ms", [](Base& p) { return p.Base().IsContinuous() ? HUGE_VALF : p.Base().TrainLength(); })
        .def_property_readonly("cycles", [](Base& p) { return p.Base().CycleCount(); })
        .def_property_readonly("continuous", [](Base& p) { return p.Base().IsContinuous(); })
        .def_property_readonly("change_count", [](Base& p) { return p.Base().ChangeCount(); })
        .def_property_readonly("max_words", [](Base& p) { return p.Base().MaxCmds(); });

    py::class_<Plain, Base, std::shared_ptr<Plain>>(module, "Plain")
        .def(py::init<const Stimulator&>(), py::arg("stimulator"))
        .def("copy", [](const Plain& p) { return std::make_shared<Plain>(p); });

    py::class_<Lilly, Base, std::shared_ptr<Lilly>>(module, "Lilly")
        .def(py::init<const Stimulator&>(), py::arg("stimulator"))
        .def("copy", [](const Lilly& p) { return std::make_shared<Lilly>(p); })
        .def(
            "set_phase1_us", [](Lilly& p, float usec) { p.Get().SetPhase1Len(usec, true); }, py::arg("value"))
        .def(
            "set_phase2_us", [](Lilly& p, float usec) { p.Get().SetPhase2Len(usec, true); }, py::arg("value"))
        .def(
            "set_ipi_us", [](Lilly& p, float usec) { p.Get().SetIPI(usec, true); }, py::arg("value"))
        .def(
            "set_offset_ms", [](Lilly& p, float msec) { p.Get().SetOffset(msec, true); }, py::arg("value"))
        .def(
            "set_amplitude_ua", [](Lilly& p, float ua) { p.Get().SetPhase1Amp(ua); }, py::arg("value"))
        .def(
            "set_amplitude2_ua", [](Lilly& p, float ua) { p.Get().SetPhase2Amp(ua); }, py::arg("value"))
        .def(
            "set_balance", [](Lilly& p, int mode) { p.Get().SetChargeBalanceMode(mode); }, py::arg("value"))
        .def_property_readonly("phase1_us", [](Lilly& p) { return p.Get().Phase1Len(); })
        .def_property_readonly("phase2_us", [](Lilly& p) { return p.Get().Phase2Len(); })
        .def_property_readonly("ipi_us", [](Lilly& p) { return p.Get().IPI(); })
        .def_property_readonly("offset_ms", [](Lilly& p) { return p.Get().Offset(); })
        .def_property_readonly("amplitude_ua", [](Lilly& p) { return p.Get().Phase1Amp(); })
        .def_property_readonly("amplitude2_ua", [](Lilly& p) { return p.Get().Phase2Amp(); })
        .def_property_readonly("balance", [](Lilly& p) { return p.Get().BalanceMode(); });

    py::class_<OwnKind, Base, std::shared_ptr<OwnKind>>(module, "OwnKind")
        .def(py::init<const Stimulator&, py::object, py::object>(), py::arg("stimulator"),
             py::arg("adjust_phases"), py::arg("set_period"));

    py::class_<Play>(module, "Play")
        .def(py::init<std::shared_ptr<Base>, int, int, std::int64_t>(), py::arg("pattern"),
             py::arg("channel"), py::arg("cycles_started"), py::arg("now_ms"))
        .def_property_readonly("due_ms", &Play::Due)
        .def_property_readonly("cycles_left", &Play::CyclesLeft)
        .def("ready", &Play::Ready, py::arg("now_ms"))
        .def("next", &Play::Next, py::arg("now_ms"));
}
