#include "Core.h"

#include <pybind11/stl.h>

#include <cmath>
#include <optional>

#include "Json.h"
#include "Lives.h"
#include "Sentences.h"

namespace core {

using namespace preview;

Words ArrayOf(const std::vector<unsigned int>& words)
{
    Words array(static_cast<py::ssize_t>(words.size()));
    std::copy(words.begin(), words.end(), array.mutable_data());
    return Frozen(std::move(array));
}

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

std::string_view TextOf(py::handle text, const char* name)
{
    if (!PyUnicode_Check(text.ptr()))
        throw py::type_error(std::string(name) + ": a str is needed, not " + Py_TYPE(text.ptr())->tp_name);
    py::ssize_t size = 0;
    const char* bytes = PyUnicode_AsUTF8AndSize(text.ptr(), &size);
    if (bytes == nullptr) {
        PyErr_Clear();
        throw py::value_error(std::string(name) + ": it contains a lone surrogate, which is not a character");
    }
    return {bytes, static_cast<std::size_t>(size)};
}

void Refuse(const Report& report)
{
    throw NotPlayable{ReportJson(report, {})};
}

namespace {

Stimulator StimulatorOf(bool plain, float timeStepUsec, float ampStepUa, std::optional<float> ampMaxUa,
                        int budget)
{
    const Stimulator stimulator{plain ? PatternKind::Plain : PatternKind::Lilly, timeStepUsec, ampStepUa,
                                ampMaxUa, budget};
    if (const auto unusable = stimulator.Unusable()) throw py::value_error(Sentence(stimulator, *unusable));
    return stimulator;
}

std::string SameBits(unsigned long patterns)
{
    const py::gil_scoped_release release;
    return samebits::ChecksumOfLives(patterns);
}

}  // namespace
}  // namespace core

PYBIND11_MODULE(_core, module)
{
    using namespace core;
    using preview::Stimulator;
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
        .def(py::init(&StimulatorOf), py::arg("plain"), py::arg("time_step_us"), py::arg("amp_step_ua"),
             py::arg("amp_max_ua"), py::arg("budget"))
        .def_property_readonly("plain",
                               [](const Stimulator& s) { return s.pattern == preview::PatternKind::Plain; })
        .def_readonly("time_step_us", &Stimulator::timeStepUsec)
        .def_readonly("amp_step_ua", &Stimulator::ampStepUa)
        .def_property_readonly("amp_max_ua", &Stimulator::AmpMaxUa)
        .def_readonly("budget", &Stimulator::budget);
    module.def("same_bits", SameBits, py::arg("patterns"));
    BindPatterns(module);
    BindReports(module);
}
