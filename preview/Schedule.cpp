#include "Schedule.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>
#include <queue>
#include <set>

#include "ContinuedItemPlay.h"
#include "Units.h"

namespace preview {
namespace {

// The number that text is, all of it.
template <typename T>
bool ReadWhole(std::string_view text, T most, T& value)
{
    const char* end = text.data() + text.size();
    const auto [read, error] = std::from_chars(text.data(), end, value);
    return !text.empty() && error == std::errc() && read == end && value >= 0 && value <= most;
}

std::string Wrong(const char* item, std::string_view text, const std::string& reason)
{
    return std::string(item) + " \"" + std::string(text) + "\": not a whole number of " + reason;
}

}  // namespace

std::string ReadScheduleLine(std::string_view line, ScheduleLine& read)
{
    const std::size_t first = line.find('\t');
    const std::size_t second = first == std::string_view::npos ? first : line.find('\t', first + 1);
    if (second == std::string_view::npos)
        return "a line is a channel, a start in milliseconds and a text, with a tab between them";
    const std::string_view channel = line.substr(0, first);
    const std::string_view start = line.substr(first + 1, second - first - 1);
    if (!ReadWhole(channel, MaxChannel, read.channel))
        return Wrong("channel", channel, "0 to " + std::to_string(MaxChannel));
    if (!ReadWhole(start, MaxStartMsec(), read.startMsec))
        return Wrong("start", start, "0 to " + std::to_string(MaxStartMsec()) + " milliseconds");
    read.text = line.substr(second + 1);
    return {};
}

TotalCurrent LargestCurrent(const Report& report)
{
    TotalCurrent total;
    for (const PhaseDeviation& p : report.deviations.phases) {
        const double ua = std::fabs(p.played.ampUa);
        if (p.played.lenUsec > 0 && ua > total.magnitude.ua) {
            const double atMsec = p.startUsec.played / UsecPerMsec;
            total = {{ua, atMsec}, {p.played.ampUa, atMsec}};
        }
    }
    return total;
}

std::string ScheduleFault(const Report& report)
{
    if (playback::PeriodUsec(report.encoding.words, report.stimulator.Scale()) > 0) return {};
    return "its words last no time: they would be due again and again";
}

void Schedule::Add(std::size_t number, const ScheduleLine& line, const Report& report)
{
    const Encoding& encoding = report.encoding;
    const auto [known, fresh] = m_byText.emplace(encoding.asked.text, m_patterns.size());
    if (fresh) {
        const playback::Scale scale = m_stimulator.Scale();
        Train train = TrainOf(encoding.words, scale, 0);
        const auto steps = static_cast<std::int64_t>(std::llround(train.periodUsec / scale.timeStepUsec));
        m_patterns.push_back({encoding.asked.text, std::string(encoding.asked.At(encoding.asked.head)),
                              encoding.pattern, encoding.words, std::move(train), steps});
    }
    const ScheduledPattern& pattern = m_patterns[known->second];
    const StimPattern& base = Base(pattern.pattern);
    const double lengthUsec = base.IsContinuous() ? std::numeric_limits<double>::infinity()
                                                  : base.CycleCount() * pattern.train.periodUsec;
    m_trains.push_back({number, line.channel, line.startMsec, known->second,
                        static_cast<double>(line.startMsec) * UsecPerMsec + lengthUsec});
    m_sorted = false;
}

const std::vector<ScheduledTrain>& Schedule::Trains()
{
    if (!m_sorted)
        std::stable_sort(
            m_trains.begin(), m_trains.end(),
            [](const ScheduledTrain& a, const ScheduledTrain& b) { return a.startMsec < b.startMsec; });
    m_sorted = true;
    return m_trains;
}

bool Schedule::Endless() const
{
    return std::any_of(m_trains.begin(), m_trains.end(),
                       [](const ScheduledTrain& train) { return std::isinf(train.endUsec); });
}

std::optional<Overlap> Schedule::FindOverlap()
{
    constexpr double NoiseUsec = 1e-3;
    std::map<int, const ScheduledTrain*> last;
    for (const ScheduledTrain& train : Trains()) {
        const ScheduledTrain*& before = last[train.channel];
        if (before != nullptr &&
            static_cast<double>(train.startMsec) * UsecPerMsec < before->endUsec - NoiseUsec)
            return Overlap{*before, train};
        before = &train;
    }
    return {};
}

namespace {

// A record of a continued play, and the train that it plays; ordered as records are.
struct Continued
{
    ContinuedItemPlay play;
    std::size_t train;  // index

    bool operator<(const Continued& other) const { return play < other.play; }
};

}  // namespace

void Schedule::Play(const Host& host, std::optional<std::int64_t> untilMsec, const Send& send)
{
    const std::int64_t until = untilMsec.value_or(std::numeric_limits<std::int64_t>::max());
    const std::vector<ScheduledTrain>& trains = Trains();
    std::vector<StimPattern*> slots;  // where records find their patterns
    for (ScheduledPattern& pattern : m_patterns) slots.push_back(&Base(pattern.pattern));
    std::multiset<Continued> plays;
    std::vector<unsigned int> words;
    std::size_t next = 0;
    const auto left = [](const ContinuedItemPlay& play) {
        return play.Pattern()->IsContinuous() ? -1 : play.RemCycles();
    };
    const auto keep = [&](const Continued& continued) {
        if (continued.play.RemCycles() > 0) plays.insert(continued);
    };
    for (;;) {
        const bool starts = next < trains.size() &&
                            (plays.empty() || trains[next].startMsec <= plays.begin()->play.m_nextMsec);
        if (!starts && plays.empty()) return;
        if ((starts ? trains[next].startMsec : plays.begin()->play.m_nextMsec) >= until) return;
        if (starts) {
            const ScheduledTrain& train = trains[next];
            const ScheduledPattern& pattern = m_patterns[train.pattern];
            const int cycles = playback::CyclesOf(pattern.words[0]);
            const Continued continued{ContinuedItemPlay({train.channel, &slots[train.pattern]}, cycles,
                                                        Host::Clock(train.startMsec)),
                                      next++};
            send({host.PollAt(train.startMsec), train.startMsec, train.channel, cycles, left(continued.play),
                  train.number, pattern.words});
            keep(continued);
            continue;
        }
        Continued continued = *plays.begin();
        plays.erase(plays.begin());
        const ScheduledTrain& train = trains[continued.train];
        const std::int64_t due = continued.play.m_nextMsec;
        const std::int64_t now = host.PollAt(due + 3);
        words = m_patterns[train.pattern].words;
        if (continued.play.ContinueCmds(Host::Clock(now), reinterpret_cast<unsigned char*>(words.data())) < 1)
            continue;
        send({now, due, train.channel, playback::CyclesOf(words[0]), left(continued.play), train.number,
              words});
        keep(continued);
    }
}

namespace {

// Goes over the changes of current of all trains that play, in the order of time. Between two starts or ends of trains
// the same set plays; its currents repeat after the least common multiple of the periods, so that no more than that is
// looked at. Times are whole nanoseconds: what ends when something else begins does so at the same time.
class CurrentSweep
{
 public:
    CurrentSweep(const std::deque<ScheduledPattern>& patterns, const playback::Scale& scale)
        : m_patterns(patterns), m_scale(scale)
    {}

    TotalCurrent Run(const std::vector<ScheduledTrain>& trains, double untilUsec)
    {
        std::vector<double> bounds;
        for (const ScheduledTrain& train : trains)
            for (const double bound : {static_cast<double>(train.startMsec) * UsecPerMsec, train.endUsec})
                bounds.push_back(std::min(bound, untilUsec));
        std::sort(bounds.begin(), bounds.end());
        bounds.erase(std::unique(bounds.begin(), bounds.end()), bounds.end());
        std::size_t next = 0;
        for (std::size_t i = 0; i + 1 < bounds.size(); ++i) {
            while (next < trains.size() &&
                   static_cast<double>(trains[next].startMsec) * UsecPerMsec <= bounds[i])
                m_playing.push_back(trains[next++]);
            m_playing.erase(
                std::remove_if(m_playing.begin(), m_playing.end(),
                               [&](const ScheduledTrain& train) { return train.endUsec <= bounds[i]; }),
                m_playing.end());
            Look(bounds[i], bounds[i + 1]);
        }
        return m_total;
    }

 private:
    // Where a train is: the stretch of its cycle that plays, and when it ends.
    struct Cursor
    {
        const ScheduledPattern* pattern;
        double startUsec;
        double cycle;
        std::size_t stretch;
        int ampSteps = 0;
    };

    using Change = std::pair<std::int64_t, std::size_t>;  // when, and whose

    void Look(double fromUsec, double toUsec)
    {
        const double repeatUsec = RepeatUsec();
        const std::int64_t until = Nsec(std::min(toUsec, fromUsec + repeatUsec));
        m_cursors.clear();
        m_magnitude = 0;
        m_net = 0;
        std::priority_queue<Change, std::vector<Change>, std::greater<>> changes;
        for (const ScheduledTrain& train : m_playing) {
            m_cursors.push_back(CursorAt(train, fromUsec));
            SetSteps(m_cursors.back());
            changes.push({EndOf(m_cursors.back()), m_cursors.size() - 1});
        }
        Note(fromUsec / UsecPerMsec);
        while (!changes.empty() && changes.top().first < until) {
            const std::int64_t now = changes.top().first;
            while (changes.top().first <= now) {
                Cursor& cursor = m_cursors[changes.top().second];
                const std::size_t index = changes.top().second;
                changes.pop();
                if (++cursor.stretch == cursor.pattern->train.cycle.size()) {
                    cursor.stretch = 0;
                    ++cursor.cycle;
                }
                SetSteps(cursor);
                changes.push({EndOf(cursor), index});
            }
            Note(static_cast<double>(now) / (NsecPerUsec * UsecPerMsec));
        }
    }

    // Of the set that plays: after so long everything is as it was. Infinite where that cannot be counted.
    double RepeatUsec() const
    {
        constexpr std::int64_t Most = std::int64_t{1} << 31;
        std::int64_t steps = 1;
        for (const ScheduledTrain& train : m_playing) {
            steps = std::lcm(steps, m_patterns[train.pattern].periodSteps);
            if (steps > Most) return std::numeric_limits<double>::infinity();
        }
        return static_cast<double>(steps) * m_scale.timeStepUsec;
    }

    static std::int64_t Nsec(double usec) { return std::llround(usec * NsecPerUsec); }

    static std::int64_t EndOf(const Cursor& cursor)
    {
        const Train& train = cursor.pattern->train;
        const playback::Segment& stretch = train.cycle[cursor.stretch];
        return Nsec(cursor.startUsec + cursor.cycle * train.periodUsec + stretch.startUsec +
                    stretch.durationUsec);
    }

    Cursor CursorAt(const ScheduledTrain& scheduled, double usec) const
    {
        const ScheduledPattern& pattern = m_patterns[scheduled.pattern];
        Cursor cursor{&pattern, static_cast<double>(scheduled.startMsec) * UsecPerMsec, 0, 0};
        cursor.cycle = std::max(std::floor((usec - cursor.startUsec) / pattern.train.periodUsec) - 1, 0.0);
        while (EndOf(cursor) <= Nsec(usec)) {
            if (++cursor.stretch < pattern.train.cycle.size()) continue;
            cursor.stretch = 0;
            ++cursor.cycle;
        }
        return cursor;
    }

    void SetSteps(Cursor& cursor)
    {
        const double ua = cursor.pattern->train.cycle[cursor.stretch].currentUa;
        const auto steps = static_cast<int>(std::lround(ua / m_scale.ampStepUa));
        m_magnitude += std::abs(steps) - std::abs(cursor.ampSteps);
        m_net += steps - cursor.ampSteps;
        cursor.ampSteps = steps;
    }

    void Note(double atMsec)
    {
        const double magnitude = static_cast<double>(m_magnitude) * m_scale.ampStepUa;
        const double net = static_cast<double>(m_net) * m_scale.ampStepUa;
        if (magnitude > m_total.magnitude.ua) m_total.magnitude = {magnitude, atMsec};
        if (std::fabs(net) > std::fabs(m_total.net.ua)) m_total.net = {net, atMsec};
    }

    const std::deque<ScheduledPattern>& m_patterns;
    const playback::Scale m_scale;
    std::vector<ScheduledTrain> m_playing;
    std::vector<Cursor> m_cursors;
    std::int64_t m_magnitude = 0;  // in amplitude steps, of all cursors
    std::int64_t m_net = 0;
    TotalCurrent m_total;
};

}  // namespace

TotalCurrent Schedule::Total(std::optional<std::int64_t> untilMsec)
{
    const double until =
        untilMsec ? static_cast<double>(*untilMsec) * UsecPerMsec : std::numeric_limits<double>::infinity();
    return CurrentSweep(m_patterns, m_stimulator.Scale()).Run(Trains(), until);
}

}  // namespace preview
