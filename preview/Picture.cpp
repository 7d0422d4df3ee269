#include "Picture.h"

#include <algorithm>
#include <cmath>

#include "NumberFormat.h"

namespace preview {
namespace {

// A stretch of time of one current.
struct Level
{
    double from;
    double to;
    double currentUa;
};

std::vector<Level> AskedLevels(const Deviations& deviations)
{
    std::vector<Level> levels;
    for (const PhaseDeviation& p : deviations.phases)
        if (p.asked.lenUsec > 0)
            levels.push_back({p.startUsec.asked, p.startUsec.asked + p.asked.lenUsec, p.asked.ampUa});
    return levels;
}

std::vector<Level> PlayedLevels(const Report& report)
{
    std::vector<Level> levels;
    for (const playback::Segment& s :
         playback::Joined(playback::Segments(report.encoding.words, report.stimulator.Scale())))
        levels.push_back({s.startUsec, s.startUsec + s.durationUsec, s.currentUa});
    return levels;
}

// The time axis. A pause in which nothing is asked nor played, and that is much longer than the longest
// current, is shortened, so that the currents can be seen:
//
//     time     |#####|__|#####|_______________________________________|
//     drawn    |#####|__|#####|___//___|
class Axis
{
 public:
    // Currents in the order of time.
    Axis(std::vector<Level> currents, double endUsec) : m_endUsec(endUsec)
    {
        FindRuns(std::move(currents));
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

    std::vector<PictureBreak> Breaks() const
    {
        std::vector<PictureBreak> breaks;
        for (const Run& run : m_runs)
            if (run.Shortened())
                breaks.push_back({At(run.from), At(run.to), Rounded((run.to - run.from) / 1000) + " ms"});
        return breaks;
    }

    // Round times in what is not shortened, and the end of the cycle.
    std::vector<PictureTick> Ticks(double unitUsec) const
    {
        constexpr double Nearest = 0.06;  // of the width, so that labels do not touch
        std::vector<PictureTick> ticks;
        const double step = TickStep();
        const double width = Width();
        for (const Run& run : m_runs) {
            if (run.Shortened()) continue;
            const double first = std::ceil(run.from / step);
            const int further = static_cast<int>(std::floor(run.to / step) - first);
            for (int i = 0; i <= further; ++i) {
                const double tick = (first + i) * step;
                const double at = At(tick);
                const bool room = ticks.empty() || at - ticks.back().at > Nearest * width;
                if (room && width - at > Nearest * width) ticks.push_back({at, Rounded(tick / unitUsec)});
            }
        }
        ticks.push_back({width, Rounded(m_endUsec / unitUsec)});
        return ticks;
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

    void FindRuns(std::vector<Level> currents)
    {
        double end = 0;
        for (const Level& level : currents) {
            if (level.from > end) m_runs.push_back({end, level.from, false, level.from - end});
            if (level.to <= end) continue;
            const double from = std::max(level.from, end);
            m_runs.push_back({from, level.to, true, level.to - from});
            end = level.to;
        }
        if (m_endUsec > end) m_runs.push_back({end, m_endUsec, false, m_endUsec - end});
    }

    void ShortenPauses()
    {
        constexpr double LongPause = 4;      // times the longest current
        constexpr double PauseShare = 0.35;  // of what is not shortened, for all long pauses together
        double longest = 0;
        for (const Run& run : m_runs)
            if (run.current) longest = std::max(longest, run.drawn);
        const auto isLong = [&](const Run& run) { return !run.current && run.drawn > LongPause * longest; };
        double kept = 0;
        for (const Run& run : m_runs)
            if (!isLong(run)) kept += run.drawn;
        const auto count = std::count_if(m_runs.begin(), m_runs.end(), isLong);
        if (!(longest > 0)) return;
        for (Run& run : m_runs)
            if (isLong(run)) run.drawn = std::min(run.drawn, PauseShare * kept / static_cast<double>(count));
    }

    // 1, 2 or 5 times a power of ten: about ten of them in the width.
    double TickStep() const
    {
        const double rough = Width() / 10;
        const double power = std::pow(10, std::floor(std::log10(rough)));
        for (const double factor : {1.0, 2.0, 5.0})
            if (factor * power >= rough) return factor * power;
        return 10 * power;
    }

    const double m_endUsec;
    std::vector<Run> m_runs;
};

std::vector<Level> Currents(const std::vector<Level>& asked, const std::vector<Level>& played)
{
    std::vector<Level> currents;
    for (const auto* levels : {&asked, &played})
        std::copy_if(levels->begin(), levels->end(), std::back_inserter(currents),
                     [](const Level& level) { return level.currentUa != 0; });
    std::sort(currents.begin(), currents.end(),
              [](const Level& a, const Level& b) { return a.from < b.from; });
    return currents;
}

std::vector<PicturePoint> Curve(const std::vector<Level>& levels, const Axis& axis)
{
    std::vector<PicturePoint> points{{0, 0}};
    for (const Level& level : levels) {
        points.push_back({axis.At(level.from), level.currentUa});
        points.push_back({axis.At(level.to), level.currentUa});
    }
    points.push_back({points.back().at, 0});
    return points;
}

std::string Subtitle(const Deviations& d)
{
    std::string text = "period " + Rounded(d.periodUsec.played / 1000) + " ms, ";
    text += std::isinf(d.cycles.played)
                ? "continuous"
                : Rounded(d.cycles.played) + (d.cycles.played == 1 ? " cycle" : " cycles");
    text += "; net charge " + Rounded(d.playedNc.NetNc()) + " nC per cycle; largest error of a phase start " +
            Rounded(d.LargestErrorUsec()) + " us";
    return text;
}

}  // namespace

Picture PictureOf(const Report& report)
{
    constexpr double MaxUsecTicks = 10000;  // of the width; wider ones are labelled in milliseconds
    const Deviations& deviations = report.deviations;
    const std::vector<Level> asked = AskedLevels(deviations);
    const std::vector<Level> played = PlayedLevels(report);
    const Axis axis(Currents(asked, played),
                    std::max(deviations.periodUsec.asked, deviations.periodUsec.played));
    Picture picture;
    picture.title = report.encoding.asked.text;
    picture.subtitle = Subtitle(deviations);
    picture.width = axis.Width();
    const bool msec = picture.width > MaxUsecTicks;
    picture.timeUnit = msec ? "ms" : "us";
    picture.ticks = axis.Ticks(msec ? 1000 : 1);
    picture.breaks = axis.Breaks();
    picture.asked = Curve(asked, axis);
    picture.played = Curve(played, axis);
    for (const auto* curve : {&picture.asked, &picture.played}) {
        for (const PicturePoint& point : *curve) {
            picture.minUa = std::min(picture.minUa, point.currentUa);
            picture.maxUa = std::max(picture.maxUa, point.currentUa);
        }
    }
    return picture;
}

}  // namespace preview
