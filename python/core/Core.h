#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Report.h"

// The compiled core of the Python package, as thin as it can be: what people see is written in Python.
namespace core {

namespace py = pybind11;

using Words = py::array_t<std::uint32_t>;
using Floats = py::array_t<float, py::array::c_style | py::array::forcecast>;

// An array that Python cannot change.
template <typename T>
py::array_t<T> Frozen(py::array_t<T> array)
{
    py::detail::array_proxy(array.ptr())->flags &= ~py::detail::npy_api::NPY_ARRAY_WRITEABLE_;
    return array;
}

Words ArrayOf(const std::vector<unsigned int>& words);
// (n, 2) of lengths in microseconds and amplitudes in microamperes.
py::array_t<float> ArrayOf(const std::vector<phase>& phases);
std::vector<phase> PhasesOf(const Floats& array);

// The text of a Python str, valid as long as the str is. name: of the argument, for the error.
std::string_view TextOf(py::handle text, const char* name = "text");

// Raised as tarvutil._core.NotPlayable, whose argument is the JSON of the report, or of errors alone.
struct NotPlayable
{
    std::string report;
};

[[noreturn]] void Refuse(const preview::Report& report);

// What every pattern offers, over the library's object. A pattern is copied, changed and assigned, so that several
// changes are made together or not at all.
class Pattern
{
 public:
    explicit Pattern(const preview::Stimulator& s) : m_stimulator(s) {}
    virtual ~Pattern() = default;

    const preview::Stimulator& Stimulator() const { return m_stimulator; }

    // For edits and words. Throws while the library asks a kind that is written in Python: the list must not change then.
    virtual StimPattern& Base() = 0;
    virtual const StimPattern& Base() const = 0;
    virtual std::shared_ptr<Pattern> Copy() const = 0;
    // REQUIRES: other is a copy of this pattern. All or nothing.
    virtual void Assign(const Pattern& other) = 0;
    // As a pattern of the library's own kinds, with the same phases and train.
    virtual preview::AnyPattern Snapshot() const = 0;
    // After an operation of the library: raises what Python raised while it ran.
    virtual void Check() {}

 private:
    const preview::Stimulator m_stimulator;
};

void BindPatterns(py::module_& module);
void BindReports(py::module_& module);

}  // namespace core
