// Any lines of a schedule, and any trains on some channels: what the host sends is in order and complete, and the current
// of all channels is that of every stretch of every train added up.

#include "Schedule.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "Fuzz.h"

using namespace preview;

namespace {

void CheckLine(const std::string& text)
{
    // A number of digits alone that fit; from_chars reads a minus, too, and refuses what it makes negative.
    const auto isWhole = [](std::string_view digits, double most) {
        if (digits.substr(0, 1) == "-")
            return digits.find_first_not_of('0', 1) == std::string_view::npos && digits.size() > 1;
        return !digits.empty() && digits.find_first_not_of("0123456789") == std::string_view::npos &&
               std::strtod(std::string(digits).c_str(), nullptr) <= most;
    };
    const std::string_view line = text;
    const std::size_t first = std::min(line.find('\t'), line.size());
    const std::size_t second = std::min(line.find('\t', first + 1), line.size());
    const bool good = first < line.size() && second < line.size() && isWhole(line.substr(0, first), 1e6) &&
                      isWhole(line.substr(first + 1, second - first - 1), 1e12);
    ScheduleLine read;
    Require(ReadScheduleLine(line, read).empty() == good, "a line is a channel, a start and a text");
    Require(!good || read.text.data() == line.data() + second + 1, "the text follows the second tab");
}

struct Added
{
    int channel;
    std::int64_t startMsec;
    const Report* report;

    const StimPattern& Pattern() const { return Base(report->encoding.pattern); }
    double PeriodUsec() const
    {
        return playback::PeriodUsec(report->encoding.words, report->stimulator.Scale());
    }
    double EndUsec() const
    {
        const double length = Pattern().IsContinuous() ? HUGE_VAL : Pattern().CycleCount() * PeriodUsec();
        return static_cast<double>(startMsec) * 1e3 + length;
    }
};

bool AnyOverlap(const std::vector<Added>& trains)
{
    for (const Added& a : trains)
        for (const Added& b : trains)
            if (&a != &b && a.channel == b.channel &&
                (a.startMsec < b.startMsec || (a.startMsec == b.startMsec && &a < &b)) &&
                static_cast<double>(b.startMsec) * 1e3 < a.EndUsec() - 1e-3)
                return true;
    return false;
}

// The sums of the currents by adding up every change of every train, in whole nanoseconds.
void CheckTotal(const std::vector<Added>& trains, std::optional<std::int64_t> untilMsec,
                const TotalCurrent& total)
{
    std::map<std::int64_t, std::pair<int, int>> changes;  // of the magnitudes and of the sum, amplitude steps
    const auto nsec = [](double usec) { return std::llround(usec * 1e3); };
    const double until = untilMsec ? static_cast<double>(*untilMsec) * 1e3 : HUGE_VAL;
    double stepUa = 1;
    for (const Added& train : trains) {
        constexpr double MostCycles = 200;  // of which all changes are added up
        if (std::min(train.EndUsec(), until) >
            static_cast<double>(train.startMsec) * 1e3 + MostCycles * train.PeriodUsec())
            return;
        const playback::Scale scale = train.report->stimulator.Scale();
        stepUa = scale.ampStepUa;
        const auto cycle = playback::Segments(train.report->encoding.words, scale);
        const double start = static_cast<double>(train.startMsec) * 1e3;
        const double end = std::min(train.EndUsec(), until);
        for (int n = 0; start + n * train.PeriodUsec() < end - 1e-3; ++n)
            for (const playback::Segment& stretch : cycle) {
                const double from = start + n * train.PeriodUsec() + stretch.startUsec;
                const int steps = static_cast<int>(std::lround(stretch.currentUa / stepUa));
                auto& begins = changes[nsec(std::min(from, end))];
                begins = {begins.first + std::abs(steps), begins.second + steps};
                auto& ends = changes[nsec(std::min(from + stretch.durationUsec, end))];
                ends = {ends.first - std::abs(steps), ends.second - steps};
            }
    }
    int magnitude = 0, net = 0, largest = 0, largestNet = 0;
    for (const auto& [at, change] : changes) {
        magnitude += change.first;
        net += change.second;
        largest = std::max(largest, magnitude);
        if (std::abs(net) > std::abs(largestNet)) largestNet = net;
    }
    Require(std::fabs(total.magnitude.ua - largest * stepUa) < stepUa / 2, "the magnitudes are added up");
    Require(std::fabs(total.net.ua - largestNet * stepUa) < stepUa / 2, "the currents are added up");
}

void CheckPlay(const std::vector<Added>& trains, const Host& host, std::optional<std::int64_t> untilMsec,
               Schedule& schedule)
{
    std::vector<int> left;
    left.reserve(trains.size());
    for (const Added& train : trains) left.push_back(train.Pattern().CycleCount());
    std::vector<std::int64_t> last(trains.size(), -1);
    std::int64_t before = 0;
    schedule.Play(host, untilMsec, [&](const ScheduledCommand& sent) {
        const Added& train = trains.at(sent.number);
        const bool endless = train.Pattern().IsContinuous();
        Require(sent.dueMsec >= before && (!untilMsec || sent.dueMsec < *untilMsec),
                "in order, before the end");
        Require(sent.sentMsec >= sent.dueMsec && sent.sentMsec <= sent.dueMsec + 2 + host.pollMsec,
                "sent at the next poll");
        Require(sent.channel == train.channel, "on its channel");
        Require(last[sent.number] >= 0 || sent.dueMsec == train.startMsec,
                "the first block starts the train");
        Require(playback::CyclesOf(sent.words[0]) == sent.cycles && sent.cycles >= 1,
                "word 0 has the cycles");
        const auto& words = train.report->encoding.words;
        Require(std::equal(words.begin() + 1, words.end(), sent.words.begin() + 1, sent.words.end()),
                "the words are those of the text");
        if (!endless) left[sent.number] -= sent.cycles;
        Require(sent.cyclesLeft == (endless ? -1 : left[sent.number]), "the cycles are counted");
        last[sent.number] = before = sent.dueMsec;
    });
    for (std::size_t i = 0; i < trains.size() && !untilMsec; ++i)
        Require(left[i] == 0, "every cycle is sent");
}

void CheckTrains(FuzzedDataProvider& in)
{
    static constexpr const char* Phases[] = {"(200,-300)(66,0)(200,300)(9534,0)", "(100,50)(900,0)",
                                             "(100,-50)(50,20)(333,0)", "(0,0)(210,-60)(53,0)(210,60)(527,0)",
                                             "(0,50)"};
    static constexpr const char* Trains[] = {"1", "2", "7.3", "50", "5000", "inf"};
    Stimulator stimulator;
    stimulator.pattern = PatternKind::Plain;
    stimulator.timeStepUsec = in.PickValueInArray({20.0f, 25.0f, 7.5f});  // changes at whole nanoseconds
    std::deque<Report> reports;
    std::vector<Added> trains;
    Schedule schedule(stimulator);
    const int count = in.ConsumeIntegralInRange(1, 6);
    while (static_cast<int>(trains.size()) < count) {
        const int channel = in.ConsumeIntegralInRange(0, 4);
        const std::int64_t start = in.ConsumeIntegralInRange(0, 300);
        const std::string text = std::string("a:") + in.PickValueInArray(Phases) + ":DurationMsec=[" +
                                 in.PickValueInArray(Trains) + ']';
        Report& report = reports.emplace_back(stimulator);
        ReportOn(text, {}, Reading::Strict, report);
        if (!report.encoding.Encoded()) return;
        const bool timeless = text.find("(0,50)") != std::string::npos;
        Require(ScheduleFault(report).empty() != timeless, "words that last no time are refused");
        if (timeless) return;
        schedule.Add(trains.size(), {channel, start, text}, report);
        trains.push_back({channel, start, &report});
    }
    const std::optional<Overlap> overlap = schedule.FindOverlap();
    Require(overlap.has_value() == AnyOverlap(trains), "trains that overlap are found");
    if (overlap) return Require(overlap->earlier.channel == overlap->later.channel, "on one channel");
    Host host;
    host.pollMsec = in.ConsumeIntegralInRange(1, 50);
    std::optional<std::int64_t> until;
    if (schedule.Endless() || in.ConsumeBool()) until = in.ConsumeIntegralInRange(0, 500);
    CheckPlay(trains, host, until, schedule);
    CheckTotal(trains, until, schedule.Total(until));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const std::vector<std::string> pieces{
        "\t", "-", "0", "00", "1000000", "1000001", "1000000000000", "a:(1,1):"};
    FuzzedDataProvider in(data, size);
    if (in.ConsumeBool())
        CheckLine(AnyText(in, pieces, 40));
    else
        CheckTrains(in);
    return 0;
}
