#include <pybind11/stl.h>

#include <algorithm>
#include <map>
#include <optional>

#include "Core.h"
#include "Json.h"

namespace core {
namespace {

using namespace preview;

Reading ReadingOf(bool lenient)
{
    return lenient ? Reading::Lenient : Reading::Strict;
}

// --- Words ---

Words EncodeText(const preview::Stimulator& stimulator, py::handle text, bool lenient)
{
    Encoding encoding(stimulator);
    Encode(stimulator, TextOf(text), ReadingOf(lenient), encoding);
    if (encoding.Encoded()) return ArrayOf(encoding.words);
    Report report(stimulator);
    ReportOn(TextOf(text), {}, ReadingOf(lenient), report);
    Refuse(report);
}

// The words of several texts, one after the other.
struct WordsOfTexts
{
    std::vector<unsigned int> words;
    std::vector<std::size_t>
        ends;  // of each text that was encoded: all of them, or those before the first refused
};

WordsOfTexts EncodeAll(const preview::Stimulator& stimulator, const std::vector<std::string_view>& texts,
                       Reading reading)
{
    WordsOfTexts result;
    result.ends.reserve(texts.size());
    Encoding encoding(stimulator);
    for (const std::string_view text : texts) {
        Encode(stimulator, text, reading, encoding);
        if (!encoding.Encoded()) break;
        result.words.insert(result.words.end(), encoding.words.begin(), encoding.words.end());
        result.ends.push_back(result.words.size());
    }
    return result;
}

// Arrays for the texts before the first that is refused. They are views of one array, which lives as long as one of them.
py::list EncodeTexts(const preview::Stimulator& stimulator, const py::list& texts, bool lenient)
{
    std::vector<std::string_view> views;
    views.reserve(texts.size());
    for (const py::handle text : texts) views.push_back(TextOf(text));
    const WordsOfTexts found = [&] {
        const py::gil_scoped_release release;
        return EncodeAll(stimulator, views, ReadingOf(lenient));
    }();
    const Words all = ArrayOf(found.words);
    py::list arrays(found.ends.size());
    std::size_t begin = 0;
    for (std::size_t i = 0; i < found.ends.size(); ++i) {
        const auto count = static_cast<py::ssize_t>(found.ends[i] - begin);
        arrays[i] = Words(count, all.data() + begin, all);
        begin = found.ends[i];
    }
    return arrays;
}

// What one cycle of a word array plays: cycles, period (us), and arrays of starts (us), durations (us), currents (uA) and
// indices of the words.
py::tuple Segments(const Words& array, double timeStepUsec, double ampStepUa)
{
    const std::vector<unsigned int> words(array.data(), array.data() + array.size());
    const std::string refusal = playback::Refusal(words);
    if (!refusal.empty()) throw py::value_error("words: " + refusal);
    const playback::Scale scale{timeStepUsec, ampStepUa};
    const std::vector<playback::Segment> segments = playback::Segments(words, scale);
    const auto count = static_cast<py::ssize_t>(segments.size());
    py::array_t<double> starts(count);
    py::array_t<double> durations(count);
    py::array_t<double> currents(count);
    py::array_t<std::int64_t> indices(count);
    for (py::ssize_t i = 0; i < count; ++i) {
        const playback::Segment& segment = segments[static_cast<std::size_t>(i)];
        starts.mutable_at(i) = segment.startUsec;
        durations.mutable_at(i) = segment.durationUsec;
        currents.mutable_at(i) = segment.currentUa;
        indices.mutable_at(i) = static_cast<std::int64_t>(segment.word);
    }
    return py::make_tuple(playback::CyclesOf(words.front()), playback::PeriodUsec(words, scale),
                          Frozen(std::move(starts)), Frozen(std::move(durations)),
                          Frozen(std::move(currents)), Frozen(std::move(indices)));
}

// --- Limits ---

// "max_error_us", "whole_cycles": the limit's name, with the unit of its value.
std::string NameInPython(const LimitKind& kind)
{
    std::string name = kind.name;
    if (name.compare(0, 4, "max-") == 0) name += kind.key;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

std::vector<std::string> LimitNames()
{
    std::vector<std::string> names;
    for (const LimitKind& kind : LimitKinds()) names.push_back(NameInPython(kind));
    return names;
}

// REQUIRES: the keys are among LimitNames.
Limits LimitsOf(const std::map<std::string, double>& values, bool exact)
{
    Limits limits;
    limits.exact = exact;
    for (const LimitKind& kind : LimitKinds())
        if (const auto found = values.find(NameInPython(kind)); found != values.end())
            limits[kind.limit] = found->second;
    return limits;
}

// --- Reports ---

class MadeReport
{
 public:
    MadeReport(const preview::Stimulator& stimulator, py::handle text, bool lenient,
               const std::map<std::string, double>& limits, bool exact)
        : m_report(stimulator)
    {
        const std::string_view view = TextOf(text);
        const Limits most = LimitsOf(limits, exact);
        const py::gil_scoped_release release;
        ReportOn(view, most, ReadingOf(lenient), m_report);
    }
    MadeReport(const Pattern& pattern, const std::map<std::string, double>& limits, bool exact)
        : m_report(pattern.Stimulator())
    {
        ReportOn(pattern.Snapshot(), LimitsOf(limits, exact), m_report);
    }

    std::string Json() const { return ReportJson(m_report, {}); }
    Words WordArray() const { return ArrayOf(m_report.encoding.words); }
    bool WithinLimits() const { return m_report.WithinLimits(); }

 private:
    Report m_report;
};

}  // namespace

void BindReports(py::module_& module)
{
    module.def("encode_text", EncodeText, py::arg("stimulator"), py::arg("text"), py::arg("lenient"));
    module.def("encode_texts", EncodeTexts, py::arg("stimulator"), py::arg("texts"), py::arg("lenient"));
    module.def("segments", Segments, py::arg("words"), py::arg("time_step_us"), py::arg("amp_step_ua"));
    module.def("limit_names", LimitNames);
    py::class_<MadeReport>(module, "Report")
        .def(py::init<const preview::Stimulator&, py::handle, bool, const std::map<std::string, double>&,
                      bool>(),
             py::arg("stimulator"), py::arg("text"), py::arg("lenient"), py::arg("limits"), py::arg("exact"))
        .def(py::init<const Pattern&, const std::map<std::string, double>&, bool>(), py::arg("pattern"),
             py::arg("limits"), py::arg("exact"))
        .def("json", &MadeReport::Json)
        .def("words", &MadeReport::WordArray)
        .def_property_readonly("within_limits", &MadeReport::WithinLimits);
}

}  // namespace core
