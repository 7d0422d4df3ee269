#include <pybind11/stl.h>

#include <algorithm>
#include <map>
#include <mutex>
#include <optional>

#include "Core.h"
#include "DesignParameters.h"
#include "Events.h"
#include "Json.h"
#include "Picture.h"
#include "Profile.h"
#include "Samples.h"
#include "Schedule.h"
#include "Sentences.h"
#include "SentencesOfDesign.h"
#include "Svg.h"

namespace core {
namespace {

using namespace preview;

Reading ReadingOf(bool lenient)
{
    return lenient ? Reading::Lenient : Reading::Strict;
}

// What work returns, without the interpreter's lock; with alone, in one thread at a time. REQUIRES: work uses no object
// of Python.
template <typename Work>
auto Unlocked(Work work)
{
    const py::gil_scoped_release release;
    return work();
}
template <typename Work>
auto Unlocked(std::mutex& alone, Work work)
{
    const py::gil_scoped_release release;
    const std::lock_guard<std::mutex> one(alone);
    return work();
}

// --- Words ---

// Keeps the interpreter's lock: to get it back can take longer than the text.
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
    for (std::size_t i = 0; i < texts.size(); ++i)
        views.push_back(TextOf(texts[i], ("text " + std::to_string(i)).c_str()));
    const WordsOfTexts found = Unlocked([&] { return EncodeAll(stimulator, views, ReadingOf(lenient)); });
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
// indices of the words; and the remarks on the words.
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
                          Frozen(std::move(currents)), Frozen(std::move(indices)),
                          playback::Remarks(words, scale));
}

// The current of so many cycles, averaged over each sample. REQUIRES: words that segments took, a rate above 0.
py::array_t<double> Samples(const Words& array, double timeStepUsec, double ampStepUa, std::int64_t cycles,
                            double rateHz)
{
    const std::vector<unsigned int> words(array.data(), array.data() + array.size());
    const preview::Train train = TrainOf(words, {timeStepUsec, ampStepUa}, cycles);
    std::vector<double> samples;
    {
        const py::gil_scoped_release release;
        ForEachSample(train, rateHz, [&](double, double currentUa) { samples.push_back(currentUa); });
    }
    return py::array_t<double>(static_cast<py::ssize_t>(samples.size()), samples.data());
}

// --- Names ---

// A name of the program with the unit of its value: "max_error_us", "whole_cycles".
std::string NameInPython(const char* option, const char* unit)
{
    std::string name = std::string(option) + unit;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

// --- Designs ---

// A design: its JSON, and its text, or the one that was refused; that is empty for a request out of reach.
using MadeDesign = std::pair<std::string, std::string>;

std::vector<std::string> DesignNames()
{
    std::vector<std::string> names;
    for (const DesignParameter& parameter : AllDesignParameters()) names.emplace_back(parameter.name);
    return names;
}

// Designs from parameters by their names, values as texts.
std::vector<MadeDesign> Designs(const preview::Stimulator& given,
                                const std::map<std::string, std::string>& texts, const Limits& limits)
{
    DesignParameters parameters;
    for (const auto& [name, text] : texts) {
        const DesignParameter* parameter = FindDesignParameter(name);
        if (parameter == nullptr) throw py::type_error(name + ": not a parameter");
        const std::string fault = parameter->set(parameters, text);
        if (!fault.empty()) throw py::value_error(NameInPython(name.c_str(), "") + ": " + fault);
    }
    const std::string fault = parameters.Inconsistent();
    if (!fault.empty()) throw py::value_error(fault);
    const SequenceRequest sequence = parameters.Request();
    preview::Stimulator stimulator = given;
    stimulator.pattern = KindOf(sequence.pulse);
    std::vector<DesignRequest> requests;
    if (const auto wrong = MakeSequence(sequence, stimulator, requests))
        throw py::value_error(Sentence(*wrong, ""));
    const py::gil_scoped_release release;
    Design design(stimulator);
    std::vector<MadeDesign> made;
    for (const DesignRequest& request : requests) {
        MakeDesign(request, design, limits);
        const bool refused = design.text.empty() && !design.outOfReach;
        made.emplace_back(DesignJson(design, request.name),
                          refused ? design.report.encoding.asked.text : design.text);
    }
    return made;
}

// --- Limits ---

std::string NameInPython(const LimitKind& kind)
{
    const bool hasUnit = kind.limit != Limit::WholeCycles && kind.limit != Limit::K;
    return NameInPython(kind.name, hasUnit ? kind.key : "");
}

std::string NameInPython(const SettingKind& kind)
{
    const char* unit = kind.form == SettingForm::Number && kind.unit[0] != '\0' ? kind.key : "";
    return NameInPython(kind.name, kind.form == SettingForm::Area ? "_cm2" : unit);
}

constexpr const char* AreaName = "area_cm2";
constexpr const char* TotalName = "max_total_current_ua";

std::vector<std::string> LimitNames()
{
    std::vector<std::string> names;
    for (const LimitKind& kind : LimitKinds()) names.push_back(NameInPython(kind));
    names.emplace_back(AreaName);
    return names;
}

// REQUIRES: the keys are among LimitNames, or TotalName.
Limits LimitsOf(const std::map<std::string, double>& values, bool exact)
{
    Limits limits;
    limits.exact = exact;
    if (const auto area = values.find(AreaName); area != values.end()) limits.areaCm2 = area->second;
    if (const auto total = values.find(TotalName); total != values.end()) limits.maxTotalUa = total->second;
    for (const LimitKind& kind : LimitKinds())
        if (const auto found = values.find(NameInPython(kind)); found != values.end())
            limits[kind.limit] = found->second;
    if (const LimitKind* kind = LimitWithoutArea(limits))
        throw py::value_error(NameInPython(*kind) + ": it needs area_cm2, the area of the electrode");
    return limits;
}

// The contents of a file, and its name.
using File = std::pair<py::handle, std::string>;

void Need(const std::optional<ProfileFault>& fault)
{
    if (fault) throw py::value_error(fault->place + ": " + fault->text);
}

// What a device file and the first line of a pattern file give: the stimulator, the limits as LimitsOf takes them, and the
// places of all values that they give.
py::tuple ReadFiles(const std::optional<File>& device, const std::optional<File>& patterns)
{
    Profile ofDevice;
    Profile ofPatterns;
    if (device) Need(ReadProfile(TextOf(device->first), device->second, ofDevice));
    if (patterns)
        Need(ReadOptionLine(FirstLine(TextOf(patterns->first)), patterns->second + ":1", ofPatterns));
    const Profile profile = Merge({}, ofPatterns, ofDevice);
    std::map<std::string, double> limits;
    std::map<std::string, std::string> places;
    for (const LimitKind& kind : LimitKinds())
        if (const auto& most = profile.limits.Most(kind.limit)) limits[NameInPython(kind)] = *most;
    if (profile.limits.areaCm2) limits[AreaName] = *profile.limits.areaCm2;
    if (profile.limits.maxTotalUa) limits[TotalName] = *profile.limits.maxTotalUa;
    for (std::size_t i = 0; i < SettingCount; ++i)
        if (!profile.places[i].empty()) places[NameInPython(SettingKinds()[i])] = profile.places[i];
    return py::make_tuple(profile.stimulator, limits, profile.limits.exact, places);
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
        Unlocked([&] { ReportOn(view, most, ReadingOf(lenient), m_report); });
    }
    MadeReport(const Pattern& pattern, const std::map<std::string, double>& limits, bool exact)
        : m_report(pattern.Stimulator())
    {
        // Of the library's own kinds, so that a kind that is written in Python is not asked without the lock.
        const AnyPattern snapshot = pattern.Snapshot();
        const Limits most = LimitsOf(limits, exact);
        Unlocked([&] { ReportOn(snapshot, most, m_report); });
    }

    std::string Json() const
    {
        return Unlocked([this] { return ReportJson(m_report, {}); });
    }
    std::string LimitsJson() const { return preview::LimitsJson(m_report, m_report.limits); }
    std::string StepsJson() const
    {
        return Unlocked([this] { return preview::StepsJson(StepRows(m_report)); });
    }
    // REQUIRES: words, and of a train an end.
    std::string Svg(bool train) const
    {
        return Unlocked([&] { return SvgOf(PictureOf(m_report, train ? Drawn::Train : Drawn::Cycle)); });
    }
    // The picture of a cycle, and the points of its time axis as pairs of microseconds and place. REQUIRES: words.
    std::string PictureJson() const
    {
        return Unlocked([this] { return preview::PictureJson(PictureOf(m_report)); });
    }
    std::vector<std::pair<double, double>> TimeAxis() const
    {
        std::vector<std::pair<double, double>> pairs;
        for (const TimeKnot& knot : TimeAxisOf(m_report)) pairs.emplace_back(knot.usec, knot.at);
        return pairs;
    }
    Words WordArray() const { return ArrayOf(m_report.encoding.words); }
    bool WithinLimits() const { return m_report.WithinLimits(); }

 private:
    Report m_report;
};

// --- Schedules ---

// Works without the interpreter's lock, and one call at a time.
class Schedule
{
 public:
    Schedule(const preview::Stimulator& stimulator, const std::map<std::string, double>& limits, bool exact)
        : m_stimulator(stimulator), m_limits(LimitsOf(limits, exact)), m_schedule(stimulator)
    {}

    std::size_t Add(int channel, std::int64_t startMsec, py::handle text, bool lenient)
    {
        if (channel < 0 || channel > MaxChannel)
            throw py::value_error("channel: " + std::to_string(channel) + " is not from 0 to " +
                                  std::to_string(MaxChannel));
        if (startMsec < 0 || startMsec > MaxStartMsec())
            throw py::value_error("start_ms: " + std::to_string(startMsec) + " is not from 0 to " +
                                  std::to_string(MaxStartMsec()));
        const std::string_view view = TextOf(text);
        return Unlocked(m_mutex, [&] {
            Report report(m_stimulator);
            ReportOn(view, m_limits, ReadingOf(lenient), report);
            if (!report.WithinLimits()) Refuse(report);
            if (const std::string fault = ScheduleFault(report); !fault.empty()) Refuse(fault);
            m_schedule.Add(m_trains, {channel, startMsec, view}, report);
            return m_trains++;
        });
    }

    // A row per command: train, channel, sent_ms, due_ms, cycles, cycles left (-1 for a train without end) and the end
    // of its words in the array of all words.
    py::tuple Commands(int pollMsec, std::optional<std::int64_t> untilMsec)
    {
        std::vector<std::int64_t> cells;
        std::vector<unsigned int> words;
        Unlocked(m_mutex, [&] {
            Check(untilMsec);
            Host host;
            host.pollMsec = pollMsec;
            m_schedule.Play(host, untilMsec, [&](const ScheduledCommand& command) {
                words.insert(words.end(), command.words.begin(), command.words.end());
                for (const std::int64_t cell :
                     {static_cast<std::int64_t>(command.number), std::int64_t{command.channel},
                      command.sentMsec, command.dueMsec, std::int64_t{command.cycles},
                      std::int64_t{command.cyclesLeft}, static_cast<std::int64_t>(words.size())})
                    cells.push_back(cell);
            });
        });
        constexpr std::size_t Columns = 7;
        py::array_t<std::int64_t> rows(
            {static_cast<py::ssize_t>(cells.size() / Columns), static_cast<py::ssize_t>(Columns)});
        std::copy(cells.begin(), cells.end(), rows.mutable_data());
        return py::make_tuple(rows, ArrayOf(words));
    }
    std::string TotalJson(std::optional<std::int64_t> untilMsec)
    {
        return Unlocked(m_mutex, [&] {
            Check(untilMsec);
            return preview::TotalJson(0, m_schedule.Total(untilMsec));
        });
    }
    // What the end of the schedule does to trains, a sentence for each.
    std::vector<std::string> Cuts(std::int64_t untilMsec)
    {
        return Unlocked(m_mutex, [&] {
            std::vector<std::string> cuts;
            for (const ScheduledTrain& train : m_schedule.Trains())
                if (const std::string cut = CutSentence(train, untilMsec); !cut.empty())
                    cuts.push_back("train " + std::to_string(train.number) + ": " + cut);
            return cuts;
        });
    }
    std::string Events(std::optional<std::int64_t> untilMsec)
    {
        return Unlocked(m_mutex, [&] {
            Check(untilMsec);
            return EventsOf(m_schedule, untilMsec);
        });
    }

 private:
    void Check(std::optional<std::int64_t> untilMsec)
    {
        if (!untilMsec && m_schedule.Endless())
            throw py::value_error("until_ms: a train without end needs it");
        if (const auto overlap = m_schedule.FindOverlap()) Refuse(Sentence(*overlap, "number"));
        if (!m_limits.maxTotalUa) return;
        const TotalCurrent total = m_schedule.Total(untilMsec);
        if (total.magnitude.ua > *m_limits.maxTotalUa) Refuse(Sentence(total, *m_limits.maxTotalUa));
    }
    [[noreturn]] static void Refuse(const std::string& reason) { throw NotPlayable{ErrorJson({reason}, {})}; }
    [[noreturn]] static void Refuse(const Report& report) { core::Refuse(report); }

    const preview::Stimulator m_stimulator;
    const Limits m_limits;
    preview::Schedule m_schedule;
    std::size_t m_trains = 0;
    std::mutex m_mutex;
};

}  // namespace

void BindReports(py::module_& module)
{
    module.def("encode_text", EncodeText, py::arg("stimulator"), py::arg("text"), py::arg("lenient"));
    module.def("encode_texts", EncodeTexts, py::arg("stimulator"), py::arg("texts"), py::arg("lenient"));
    module.def("segments", Segments, py::arg("words"), py::arg("time_step_us"), py::arg("amp_step_ua"));
    module.def("samples", Samples, py::arg("words"), py::arg("time_step_us"), py::arg("amp_step_ua"),
               py::arg("cycles"), py::arg("rate_hz"));
    module.def("limit_names", LimitNames);
    module.def("design_names", DesignNames);
    module.def("read_files", ReadFiles, py::arg("device"), py::arg("patterns"));
    module.def(
        "designs",
        [](const preview::Stimulator& stimulator, const std::map<std::string, std::string>& parameters,
           const std::map<std::string, double>& limits,
           bool exact) { return Designs(stimulator, parameters, LimitsOf(limits, exact)); },
        py::arg("stimulator"), py::arg("parameters"), py::arg("limits"), py::arg("exact"));
    py::class_<Schedule>(module, "Schedule")
        .def(py::init<const preview::Stimulator&, const std::map<std::string, double>&, bool>(),
             py::arg("stimulator"), py::arg("limits"), py::arg("exact"))
        .def("add", &Schedule::Add, py::arg("channel"), py::arg("start_ms"), py::arg("text"),
             py::arg("lenient"))
        .def("commands", &Schedule::Commands, py::arg("poll_ms"), py::arg("until_ms"))
        .def("total_json", &Schedule::TotalJson, py::arg("until_ms"))
        .def("cuts", &Schedule::Cuts, py::arg("until_ms"))
        .def("events", &Schedule::Events, py::arg("until_ms"));
    py::class_<MadeReport>(module, "Report")
        .def(py::init<const preview::Stimulator&, py::handle, bool, const std::map<std::string, double>&,
                      bool>(),
             py::arg("stimulator"), py::arg("text"), py::arg("lenient"), py::arg("limits"), py::arg("exact"))
        .def(py::init<const Pattern&, const std::map<std::string, double>&, bool>(), py::arg("pattern"),
             py::arg("limits"), py::arg("exact"))
        .def("json", &MadeReport::Json)
        .def("limits_json", &MadeReport::LimitsJson)
        .def("steps_json", &MadeReport::StepsJson)
        .def("svg", &MadeReport::Svg, py::arg("train"))
        .def("picture_json", &MadeReport::PictureJson)
        .def("time_axis", &MadeReport::TimeAxis)
        .def("words", &MadeReport::WordArray)
        .def_property_readonly("within_limits", &MadeReport::WithinLimits);
}

}  // namespace core
