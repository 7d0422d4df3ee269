#include "Gnuplot.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "Fault.h"
#include "NumberFormat.h"
#include "System.h"

using namespace preview;

namespace {

// Text for gnuplot in quotes in which it expands nothing.
std::string Quoted(const std::string& text)
{
    constexpr std::size_t MaxShown = 110;
    std::string shown = text.size() > MaxShown ? text.substr(0, MaxShown - 3) + "..." : text;
    const auto unusual = [](char c) { return c < ' ' || c > '~' || c == '\'' || c == '`'; };
    std::replace_if(shown.begin(), shown.end(), unusual, '?');
    return "'" + shown + "'";
}

// A place in the drawing, with the digits of a float.
std::string Number(double value)
{
    return Shortest(static_cast<float>(value));
}

std::string Terminal(PlotFormat format)
{
    switch (format) {
        case PlotFormat::Svg:
            return "svg size 1100,480 dynamic font 'DejaVu Sans,14' background '#ffffff'";
        case PlotFormat::Png:
            return "pngcairo size 1100,480 font 'DejaVu Sans,12'";
        case PlotFormat::Pdf:
            return "pdfcairo size 24cm,10.5cm font 'DejaVu Sans,11'";
        case PlotFormat::Text:
            break;
    }
    return "dumb size 100,28";
}

void AppendCurve(std::string& script, const char* name, const std::vector<PicturePoint>& points)
{
    script += std::string("$") + name + " << END\n";
    for (const PicturePoint& point : points)
        script += Number(point.at) + " " + Number(point.currentUa) + "\n";
    script += "END\n";
}

void AppendTicks(std::string& script, const std::vector<PictureTick>& ticks)
{
    script += "set xtics nomirror (";
    for (std::size_t i = 0; i < ticks.size(); ++i)
        script += (i == 0 ? "" : ", ") + Quoted(ticks[i].label) + " " + Number(ticks[i].at);
    script += ")\n";
}

void AppendAxes(std::string& script, const Picture& picture)
{
    constexpr double Headroom = 0.12;  // of the range of currents, above and below
    const double range = picture.maxUa > picture.minUa ? picture.maxUa - picture.minUa : 1;
    script += "set xrange [0:" + Number(picture.width > 0 ? picture.width : 1) + "]\n";
    script += "set yrange [" + Number(picture.minUa - Headroom * range) + ":" +
              Number(picture.maxUa + Headroom * range) + "]\n";
    script += "set xlabel 'time, " + picture.timeUnit + "'\nset ylabel 'current, uA'\n";
    AppendTicks(script, picture.ticks);
}

// A shortened pause is a grey band with its length in it, and two strokes through the axis of time.
void AppendBreaks(std::string& script, const Picture& picture)
{
    for (const PictureBreak& gap : picture.breaks) {
        const std::string from = Number(gap.from);
        const std::string to = Number(gap.to);
        const double middle = (gap.from + gap.to) / 2;
        const bool narrow = gap.to - gap.from < 0.12 * picture.width;
        script += "set object rectangle from " + from + ",graph 0 to " + to +
                  ",graph 1 behind fillcolor '#eeeeee' fillstyle solid noborder\n";
        script += "set label " + Quoted("pause, " + gap.label) + " at " + Number(middle) +
                  (narrow ? ",graph 0.05 left rotate" : ",graph 0.93 center") + " textcolor '#555555'\n";
        for (const double side : {-0.004, 0.004}) {
            const std::string foot = Number(middle + (side - 0.003) * picture.width);
            const std::string head = Number(middle + (side + 0.003) * picture.width);
            script += "set arrow from " + foot + ",graph -0.03 to " + head +
                      ",graph 0.03 nohead front linewidth 1.5 linecolor '#555555'\n";
        }
    }
}

void AppendText(std::string& script, const Picture& picture)
{
    for (const PictureBreak& gap : picture.breaks)
        script += "set label " + Quoted("// " + gap.label + " //") + " at " +
                  Number((gap.from + gap.to) / 2) + ",graph 0.95 center\n";
    script += "set key below\nplot $asked with lines title 'asked', $played with lines title 'played'\n";
}

void AppendDrawing(std::string& script, const Picture& picture)
{
    script += "set border 3\nset ytics nomirror\nset tmargin 4\nset bmargin 4.5\nset rmargin 4\n";
    script += "set grid ytics linetype 1 linewidth 0.5 linecolor '#dddddd'\n";
    script += "set label " + Quoted(picture.title) + " at graph 0,graph 1.14 left\n";
    script += "set label " + Quoted(picture.subtitle) + " at graph 0,graph 1.06 left textcolor '#555555'\n";
    script += "set key at screen 0.985,screen 0.02 right bottom horizontal Left reverse\n";
    AppendBreaks(script, picture);
    script +=
        "plot $played with filledcurves y=0 fillstyle solid 0.3 noborder linecolor '#3a86c8' notitle, "
        "0 with lines linewidth 1 linecolor '#888888' notitle, "
        "$played with lines linewidth 3 linecolor '#3a86c8' title 'played', "
        "$asked with lines dashtype (12,8) linewidth 1.3 linecolor '#000000' title 'asked'\n";
}

}  // namespace

std::string GnuplotScript(const Picture& picture, PlotFormat format)
{
    std::string script = "set terminal " + Terminal(format) + "\nset encoding utf8\n";
    AppendCurve(script, "asked", picture.asked);
    AppendCurve(script, "played", picture.played);
    AppendAxes(script, picture);
    if (format == PlotFormat::Text)
        AppendText(script, picture);
    else
        AppendDrawing(script, picture);
    return script;
}

std::string RunGnuplot(const std::string& script)
{
    std::string drawing;
    const Ended ended = RunFilter("gnuplot", script, drawing);
    if (ended == Ended::NotStarted && errno == ENOENT)
        throw Fault("plot needs gnuplot, which is not installed: apt-get install gnuplot-nox");
    if (ended == Ended::NotStarted) throw Fault(std::string("cannot start gnuplot: ") + std::strerror(errno));
    if (ended == Ended::Badly || drawing.empty()) throw Fault("gnuplot could not draw the plot");
    return drawing;
}
