#include "Picture.h"

#include <algorithm>
#include <cmath>

#include "NumberFormat.h"
#include "Sentences.h"
#include "Units.h"
#include "Utf8.h"

namespace preview {
namespace {

constexpr std::size_t AxisChars =
    84;  // characters that fit side by side below the time axis, in the terminal, too

// A stretch of time of one current.
struct Level
{
    double from;
    double to;
    double currentUa;
};

// The current of one side, asked or played, over time.
struct Course
{
    std::vector<Level> cycle;
    double periodUsec = 0;
    double endUsec = 0;  // of what is drawn
};

Course AskedCourse(const Deviations& deviations, Drawn drawn)
{
    Course course;
    for (const PhaseDeviation& p : deviations.phases)
        if (p.asked.lenUsec > 0)
            course.cycle.push_back({p.startUsec.asked, p.startUsec.asked + p.asked.lenUsec, p.asked.ampUa});
    course.periodUsec = deviations.periodUsec.asked;
    course.endUsec = drawn == Drawn::Cycle ? course.periodUsec : deviations.trainMsec.asked * UsecPerMsec;
    return course;
}

Course PlayedCourse(const Report& report, Drawn drawn)
{
    Course course;
    for (const playback::Segment& s :
         playback::Joined(playback::Segments(report.encoding.words, report.stimulator.Scale())))
        course.cycle.push_back({s.startUsec, s.startUsec + s.durationUsec, s.currentUa});
    course.periodUsec = report.deviations.periodUsec.played;
    course.endUsec =
        drawn == Drawn::Cycle ? course.periodUsec : report.deviations.trainMsec.played * UsecPerMsec;
    return course;
}

std::string TimeText(double usec)
{
    const double whole = std::round(usec);  // so that a little less than 10 s is not printed as 10000 ms
    if (whole < 1000) return Rounded(usec) + " us";
    return whole < 1e7 ? Rounded(usec / UsecPerMsec) + " ms" : Rounded(usec / UsecPerSecond) + " s";
}

// 1, 2 or 5 times a power of ten, at least rough.
double RoundStep(double rough)
{
    const double power = std::pow(10, std::floor(std::log10(rough)));
    for (const double factor : {1.0, 2.0, 5.0})
        if (factor * power >= rough) return factor * power;
    return 10 * power;
}

// Ticks whose labels do not touch: if two would, the one added first stays.
class Ticks
{
 public:
    explicit Ticks(double width) : m_width(width) {}

    void Put(double at, const std::string& label)
    {
        const auto touches = [&](const PictureTick& tick) {
            const double chars = static_cast<double>(tick.label.size() + label.size()) / 2 + 2;
            return std::fabs(tick.at - at) < chars / static_cast<double>(AxisChars) * m_width;
        };
        if (std::none_of(m_ticks.begin(), m_ticks.end(), touches)) m_ticks.push_back({at, label});
    }

    std::vector<PictureTick> Sorted()
    {
        std::sort(m_ticks.begin(), m_ticks.end(),
                  [](const PictureTick& a, const PictureTick& b) { return a.at < b.at; });
        return std::move(m_ticks);
    }

 private:
    const double m_width;
    std::vector<PictureTick> m_ticks;
};

// The time axis. If the currents would be too narrow to see, long pauses are shortened: those of both asked and played
// that are much longer than the longest current. A longer pause stays wider than a shorter one:
//
//     time     |#####|__|#####|_______________________________________|
//     drawn    |#####|__|#####|___//___|
class Axis
{
 public:
    // Currents in the order of time. Where the shorter of the two ends, a pause is cut: what follows is the error.
    Axis(const std::vector<Level>& currents, double firstEndUsec, double endUsec)
        : m_firstEndUsec(firstEndUsec), m_endUsec(endUsec)
    {
        FindRuns(currents);
        ShortenPauses();
    }

    double At(double usec) const
    {
        double drawn = 0;
        for (const Run& run : m_runs) {
            const double part = std::min(usec, run.to) - run.from;
            if (!(part > 0)) break;
            drawn += part * run.drawn / (run.to - run.from);
        }
        return drawn;
    }

    double Width() const { return At(m_endUsec); }

    // Where the axis begins, ends and bends.
    std::vector<TimeKnot> Knots() const
    {
        std::vector<TimeKnot> knots{{0, 0}};
        double at = 0;
        bool shortened = true;  // the run before, or there is none
        for (const Run& run : m_runs) {
            at += run.drawn;
            if (!shortened && !run.Shortened()) knots.pop_back();
            knots.push_back({run.to, at});
            shortened = run.Shortened();
        }
        return knots;
    }

    // Labels stand upright, and need the width of some characters each.
    std::vector<PictureBreak> Breaks() const
    {
        constexpr double LabelChars = 2;
        std::vector<PictureBreak> breaks;
        for (const Run& run : m_runs) {
            if (!run.Shortened()) continue;
            const bool room = run.drawn * static_cast<double>(AxisChars) >= LabelChars * Width();
            breaks.push_back({At(run.from), At(run.to), room ? TimeText(run.to - run.from) : ""});
        }
        return breaks;
    }

    std::string BreaksText() const
    {
        int count = 0;
        double shortest = m_endUsec;
        double longest = 0;
        for (const Run& run : m_runs) {
            if (!run.Shortened()) continue;
            ++count;
            shortest = std::min(shortest, run.to - run.from);
            longest = std::max(longest, run.to - run.from);
        }
        if (count == 0) return {};
        const std::string from = TimeText(shortest);
        const std::string to = TimeText(longest);
        return std::to_string(count) + (count == 1 ? " shortened pause of " : " shortened pauses of ") +
               from + (from == to ? "" : " to " + to);
    }

    // The ends, and round times in what is not shortened.
    std::vector<PictureTick> Ticks(double unitUsec) const
    {
        constexpr int Steps = 10;  // about as many in the width
        const double step = RoundStep(Width() / Steps);
        preview::Ticks ticks(Width());
        const auto put = [&](double usec) { ticks.Put(At(usec), Rounded(usec / unitUsec)); };
        put(m_endUsec);
        put(0);
        put(m_firstEndUsec);
        for (const Run& run : m_runs) {
            if (run.Shortened()) continue;
            const double first = std::ceil(run.from / step);
            const int further = static_cast<int>(std::floor(run.to / step) - first);
            for (int i = 0; i <= further; ++i) put((first + i) * step);
        }
        return ticks.Sorted();
    }

 private:
    struct Run
    {
        double from;
        double to;
        bool current;
        double drawn;  // width

        bool Shortened() const { return drawn < to - from; }
    };

    void AddRun(double from, double to, bool current)
    {
        if (to > from) m_runs.push_back({from, to, current, to - from});
    }

    void FindRuns(const std::vector<Level>& currents)
    {
        double end = 0;
        for (const Level& level : currents) {
            AddRun(end, level.from, false);
            const double from = std::max(level.from, end);
            AddRun(from, level.to, true);
            end = std::max(end, level.to);
        }
        AddRun(end, m_firstEndUsec, false);
        AddRun(std::max(end, m_firstEndUsec), m_endUsec, false);
    }

    void ShortenPauses()
    {
        constexpr double LongPause = 4;      // times the longest current
        constexpr double LongWidth = 8;      // likewise: narrower axes stay to scale
        constexpr double PauseShare = 0.35;  // of what is not shortened, for a single pause,
        constexpr double ShareEach = 0.05;   // and as much more for each further one,
        constexpr double LargestShare = 1;   // up to this for all
        double longest = 0;
        for (const Run& run : m_runs)
            if (run.current) longest = std::max(longest, run.drawn);
        if (!(longest > 0) || m_endUsec <= LongWidth * longest) return;
        const auto isLong = [&](const Run& run) { return !run.current && run.drawn > LongPause * longest; };
        const auto weight = [&](const Run& run) { return std::log(run.drawn / longest); };
        double kept = 0;
        double weights = 0;
        double share = PauseShare;
        for (const Run& run : m_runs) {
            if (!isLong(run))
                kept += run.drawn;
            else
                weights += weight(run), share += ShareEach;
        }
        share = std::min(share, LargestShare);
        for (Run& run : m_runs)
            if (isLong(run)) run.drawn = std::min(run.drawn, share * kept * weight(run) / weights);
    }

    const double m_firstEndUsec;
    const double m_endUsec;
    std::vector<Run> m_runs;
};

std::vector<Level> Currents(const Course& asked, const Course& played)
{
    std::vector<Level> currents;
    for (const Course* course : {&asked, &played})
        std::copy_if(course->cycle.begin(), course->cycle.end(), std::back_inserter(currents),
                     [](const Level& level) { return level.currentUa != 0; });
    std::sort(currents.begin(), currents.end(),
              [](const Level& a, const Level& b) { return a.from < b.from; });
    return currents;
}

Axis AxisOf(const std::vector<Level>& currents, const Course& asked, const Course& played)
{
    return Axis(currents, std::min(asked.endUsec, played.endUsec), std::max(asked.endUsec, played.endUsec));
}

std::vector<PicturePoint> Curve(const Course& course, const Axis& axis)
{
    std::vector<PicturePoint> points{{0, 0}};
    for (const Level& level : course.cycle) {
        points.push_back({axis.At(level.from), level.currentUa});
        points.push_back({axis.At(level.to), level.currentUa});
    }
    const double end = axis.At(course.endUsec);
    points.push_back({points.back().at, 0});
    points.push_back({end, 0});
    return points;
}

// --- Trains: to scale, of any number of cycles ---

struct Extent
{
    double low = 0;
    double high = 0;

    void Include(double value)
    {
        low = std::min(low, value);
        high = std::max(high, value);
    }
};

Extent RangeOf(const Course& course)
{
    Extent range;
    for (const Level& level : course.cycle) range.Include(level.currentUa);
    return range;
}

// Calls visit with each level of the train, if its cycles last any time.
template <typename Visit>
void ForEachLevel(const Course& course, Visit visit)
{
    if (!(course.periodUsec > 0)) return;
    const auto cycles = static_cast<long long>(std::ceil(course.endUsec / course.periodUsec));
    for (long long i = 0; i < cycles; ++i) {
        const double start = static_cast<double>(i) * course.periodUsec;
        for (const Level& level : course.cycle)
            if (start + level.from < course.endUsec)
                visit(Level{start + level.from, std::min(start + level.to, course.endUsec), level.currentUa});
    }
}

std::vector<PicturePoint> ExactTrain(const Course& course)
{
    std::vector<PicturePoint> points{{0, 0}};
    ForEachLevel(course, [&](const Level& level) {
        points.push_back({level.from, level.currentUa});
        points.push_back({level.to, level.currentUa});
    });
    points.push_back({points.back().at, 0});
    points.push_back({course.endUsec, 0});
    return points;
}

// The range of currents in each of so many columns, as one line up and down. A column that is wider than the period
// has the currents of a whole cycle.
std::vector<PicturePoint> ColumnsOfTrain(const Course& course, double widthUsec)
{
    constexpr int Columns = 1000;
    const double column = widthUsec / Columns;
    std::vector<Extent> ranges(Columns);
    const auto columnOf = [&](double usec) {
        return static_cast<std::size_t>(std::clamp(usec / column, 0.0, Columns - 1.0));
    };
    if (course.periodUsec > column)
        ForEachLevel(course, [&](const Level& level) {
            const std::size_t last = columnOf(level.to);
            for (std::size_t i = columnOf(level.from); i <= last; ++i)
                if (static_cast<double>(i) * column < level.to) ranges[i].Include(level.currentUa);
        });
    else
        std::fill(ranges.begin(), ranges.begin() + static_cast<std::ptrdiff_t>(columnOf(course.endUsec)) + 1,
                  RangeOf(course));
    std::vector<PicturePoint> points{{0, 0}};
    for (std::size_t i = 0; i < ranges.size() && static_cast<double>(i) * column < course.endUsec; ++i) {
        const double at = (static_cast<double>(i) + 0.5) * column;
        if (ranges[i].low < 0) points.push_back({at, ranges[i].low});
        if (ranges[i].high > 0 || ranges[i].low == 0) points.push_back({at, ranges[i].high});
        if (ranges[i].high > 0 || ranges[i].low < 0) points.push_back({at, 0});
    }
    points.push_back({course.endUsec, 0});
    return points;
}

// A box around the currents of the train, from its start to its end.
std::vector<PicturePoint> BoxOfTrain(const Course& course)
{
    const Extent range = RangeOf(course);
    const double end = course.endUsec;
    return {{0, 0}, {0, range.high}, {end, range.high}, {end, range.low}, {0, range.low}, {0, 0}, {end, 0}};
}

void DrawTrain(const Course& asked, const Course& played, Picture& picture)
{
    constexpr double MostCycles = 30;  // more of them cannot be distinguished
    constexpr double MostPoints = 4000;
    picture.width = std::max(asked.endUsec, played.endUsec);
    const double cycles = std::max(asked.endUsec / asked.periodUsec, played.endUsec / played.periodUsec);
    const auto levels = static_cast<double>(std::max(asked.cycle.size(), played.cycle.size()));
    const bool exact = cycles <= MostCycles && cycles * levels <= MostPoints;
    picture.asked = exact ? ExactTrain(asked) : BoxOfTrain(asked);
    picture.played = exact ? ExactTrain(played) : ColumnsOfTrain(played, picture.width);
    picture.fine = !exact;
    if (!exact) picture.askedName = "asked (range)";
}

// --- Texts ---

std::string Signed(double value)
{
    const std::string text = Rounded(value);
    return value > 0 && text != "0" ? "+" + text : text;
}

std::string Subtitle(const Deviations& d, Drawn drawn)
{
    std::string text = "asked " + Rounded(d.frequencyHz.asked) + " Hz, played " +
                       Rounded(d.frequencyHz.played) + " Hz; period error " + Signed(d.periodUsec.Error()) +
                       " us; net charge " + Signed(d.playedNc.NetNc()) + " nC per cycle; ";
    if (std::isinf(d.cycles.played)) return text + "continuous";
    text += Rounded(d.cycles.played) + (d.cycles.played == 1 ? " cycle" : " cycles");
    if (drawn == Drawn::Train)
        text += "; train asked " + TimeText(d.trainMsec.asked * UsecPerMsec) + ", played " +
                TimeText(d.trainMsec.played * UsecPerMsec);
    return text;
}

// Breaks the note at blanks into lines that fit under the plot.
void AppendWrapped(std::string_view note, std::vector<std::string>& lines)
{
    constexpr std::size_t MostColumns = 125;
    constexpr std::size_t MostLines = 3;
    const std::string shown = ShownText(note, MostLines * MostColumns);
    std::string line;
    for (std::string_view rest = shown; !rest.empty();) {
        const std::string_view word = rest.substr(0, rest.find(' '));
        rest.remove_prefix(std::min(word.size() + 1, rest.size()));
        if (!line.empty() && ShownWidth(line) + 1 + ShownWidth(word) > MostColumns) {
            lines.push_back(line);
            line = "   ";
        } else if (!line.empty()) {
            line += ' ';
        }
        line += ShownText(word, MostColumns);
    }
    lines.push_back(line);
}

std::vector<std::string> Notes(const Report& report)
{
    constexpr std::size_t MostNotes = 4;
    std::vector<std::string> notes = report.encoding.warnings;
    constexpr bool LargestFirst = true;
    for (const auto& sentences : {ExcessSentences(report.excesses), WarningSentences(report),
                                  DeviationSentences(report, LargestFirst)})
        notes.insert(notes.end(), sentences.begin(), sentences.end());
    const std::size_t found = notes.size();
    if (found > MostNotes) {
        // The last note has the totals.
        notes.erase(notes.begin() + MostNotes - 2, notes.end() - 1);
        notes.push_back("and " + std::to_string(found - notes.size()) + " more");
    }
    std::vector<std::string> lines;
    for (const std::string& note : notes) AppendWrapped(note, lines);
    return lines;
}

// --- Axes ---

void SetCurrentAxis(Picture& picture)
{
    constexpr double Headroom = 0.1;  // of the range of currents, above and below
    constexpr double Cap = 0.05;
    constexpr int Steps = 6;
    Extent range;
    for (const auto* curve : {&picture.asked, &picture.played})
        for (const PicturePoint& point : *curve) range.Include(point.currentUa);
    if (range.low == range.high) range = {-1, 1};
    const double height = range.high - range.low;
    picture.currentAxis = "current, uA";
    picture.lowUa = range.low - Headroom * height;
    picture.highUa = range.high + Headroom * height;
    picture.capUa = Cap * height;
    const double step = RoundStep(height / Steps);
    const auto decimals = static_cast<int>(std::clamp(-std::floor(std::log10(step)), 0.0, 9.0));
    const int last = static_cast<int>(std::floor(range.high / step));
    for (int i = static_cast<int>(std::ceil(range.low / step)); i <= last; ++i)
        picture.currentTicks.push_back({i * step, Rounded(i * step, decimals)});
}

// Returns the unit of the ticks in microseconds.
double SetTimeUnit(Picture& picture)
{
    constexpr double MostTicks = 10000;  // of the width in one unit; wider ones are labelled in the next
    const bool usec = picture.width <= MostTicks;
    const bool msec = picture.width <= MostTicks * UsecPerMsec;
    picture.timeAxis = usec ? "time, us" : msec ? "time, ms" : "time, s";
    return usec ? 1 : msec ? UsecPerMsec : UsecPerSecond;
}

}  // namespace

Picture PictureOf(const Report& report, Drawn drawn)
{
    constexpr std::size_t TitleChars = 110;
    const Course asked = AskedCourse(report.deviations, drawn);
    const Course played = PlayedCourse(report, drawn);
    const Axis axis =
        AxisOf(drawn == Drawn::Cycle ? Currents(asked, played) : std::vector<Level>(), asked, played);
    Picture picture;
    picture.title = ShownText(report.encoding.asked.text, TitleChars);
    picture.subtitle = Subtitle(report.deviations, drawn);
    picture.notes = Notes(report);
    picture.askedName = "asked";
    picture.playedName = "played";
    if (drawn == Drawn::Train) {
        DrawTrain(asked, played, picture);
    } else {
        picture.width = axis.Width();
        picture.asked = Curve(asked, axis);
        picture.played = Curve(played, axis);
        picture.breaks = axis.Breaks();
        picture.breaksText = axis.BreaksText();
    }
    picture.timeTicks = axis.Ticks(SetTimeUnit(picture));
    SetCurrentAxis(picture);
    return picture;
}

std::vector<TimeKnot> TimeAxisOf(const Report& report)
{
    const Course asked = AskedCourse(report.deviations, Drawn::Cycle);
    const Course played = PlayedCourse(report, Drawn::Cycle);
    return AxisOf(Currents(asked, played), asked, played).Knots();
}

}  // namespace preview
