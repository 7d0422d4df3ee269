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

// Text for gnuplot, in quotes in which it expands nothing.
std::string Quoted(std::string_view text)
{
    std::string quoted = "'";
    for (const char c : text) quoted.append(c == '\'' ? 2 : 1, c);
    return quoted + "'";
}

std::string Colour(const char* colour)
{
    return std::string(" linecolor '") + colour + "'";
}

std::string TextColour(const char* colour)
{
    return std::string(" textcolor '") + colour + "'";
}

// A place in the drawing, with the digits of a float.
std::string Number(double value)
{
    return Shortest(static_cast<float>(value));
}

std::string Terminal(const Picture& picture, PlotFormat format)
{
    const std::size_t notes = picture.notes.size();
    switch (format) {
        case PlotFormat::Png:
            return "pngcairo noenhanced size 1100," + std::to_string(480 + 20 * notes) +
                   " font 'DejaVu Sans,10.5'";
        case PlotFormat::Pdf:
            return "pdfcairo noenhanced size 24cm," + Rounded(10.5 + 0.44 * static_cast<double>(notes)) +
                   "cm font 'DejaVu Sans,9' fontscale 0.68 linewidth 1.4";
        case PlotFormat::Text:
            break;
    }
    return "dumb noenhanced size 100,28";
}

// For the terminal the stroke in which a curve ends is a part of it.
void AppendCurve(std::string& script, const char* name, const std::vector<PicturePoint>& points, double capUa)
{
    script += std::string("$") + name + " << END\n";
    const auto append = [&script](double at, double ua) { script += Number(at) + " " + Number(ua) + "\n"; };
    for (const PicturePoint& point : points) append(point.at, point.currentUa);
    if (capUa != 0)
        for (const double ua : {capUa, -capUa}) append(points.back().at, ua);
    script += "END\n";
}

void AppendTicks(std::string& script, const char* axis, const std::vector<PictureTick>& ticks)
{
    script += std::string("set ") + axis + " out nomirror (";
    for (std::size_t i = 0; i < ticks.size(); ++i)
        script += (i == 0 ? "" : ", ") + Quoted(ticks[i].label) + " " + Number(ticks[i].at);
    script += ")\n";
}

void AppendAxes(std::string& script, const Picture& picture)
{
    script += "set xrange [0:" + Number(picture.width) + "]\n";
    script += "set yrange [" + Number(picture.lowUa) + ":" + Number(picture.highUa) + "]\n";
    script += "set xlabel " + Quoted(picture.timeAxis) + "\n";
    AppendTicks(script, "xtics", picture.timeTicks);
    AppendTicks(script, "ytics", picture.currentTicks);
}

void AppendLabel(std::string& script, std::string_view text, const std::string& place)
{
    script += "set label " + Quoted(text) + " at " + place + "\n";
}

// A shortened pause is a grey band with its length in it, and two strokes through the axis of time.
void AppendBreaks(std::string& script, const Picture& picture)
{
    for (const PictureBreak& gap : picture.breaks) {
        const std::string from = Number(gap.from);
        const std::string to = Number(gap.to);
        const double middle = (gap.from + gap.to) / 2;
        const bool narrow = gap.to - gap.from < 0.16 * picture.width;
        script += "set object rectangle from " + from + ",graph 0 to " + to + ",graph 1 behind fillcolor '" +
                  colours::Break + "' fillstyle solid noborder\n";
        if (!gap.label.empty())
            AppendLabel(script, "pause, " + gap.label,
                        Number(middle) + (narrow ? ",graph 0.05 left rotate" : ",graph 0.94 center") +
                            TextColour(colours::FaintText));
        if (gap.to - gap.from < 0.014 * picture.width) continue;
        for (const double side : {-0.003, 0.003}) {
            const std::string foot = Number(middle + (side - 0.003) * picture.width);
            const std::string head = Number(middle + (side + 0.003) * picture.width);
            script += "set arrow from " + foot + ",graph -0.02 to " + head +
                      ",graph 0.02 nohead front linewidth 1.5" + Colour(colours::FaintText) + "\n";
        }
    }
}

// A curve ends in a stroke across 0.
void AppendCap(std::string& script, const Picture& picture, const std::vector<PicturePoint>& points,
               const std::string& style)
{
    const std::string end = Number(points.back().at);
    script += "set arrow from " + end + "," + Number(-picture.capUa) + " to " + end + "," +
              Number(picture.capUa) + " nohead front" + style + "\n";
}

// The lengths of the pauses stand in the drawing when all of them have room there, otherwise only that they are shortened.
void AppendText(std::string& script, const Picture& picture)
{
    constexpr double Columns = 86;  // of the area of the curves
    const auto half = [](const std::string& text) { return static_cast<double>(text.size()) / 2; };
    const auto middle = [&](const PictureBreak& gap) {
        return (gap.from + gap.to) / 2 / picture.width * Columns;
    };
    bool room = true;
    double taken = 0;
    for (const PictureBreak& gap : picture.breaks) {
        room = room && !gap.label.empty() && middle(gap) - half(gap.label) - 3 >= taken;
        taken = middle(gap) + half(gap.label) + 3;
    }
    taken = 1;
    for (const PictureBreak& gap : picture.breaks) {
        if (middle(gap) - 1 < taken) continue;
        AppendLabel(script, room ? "//" + gap.label + "//" : "//",
                    Number((gap.from + gap.to) / 2) + ",graph 0.95 center");
        taken = middle(gap) + 2;
    }
    AppendLabel(script, picture.currentAxis, "screen 0.01,graph 1.05 left");
    script += "set key below\nset rmargin 4\nset tmargin 2\nplot $asked with lines title " +
              Quoted(picture.askedName) + ", $played with lines title " + Quoted("  " + picture.playedName) +
              "\n";
}

void AppendDrawing(std::string& script, const Picture& picture)
{
    const std::size_t notes = picture.notes.size();
    const double height = 480 + 20 * static_cast<double>(notes);
    const auto screen = [&](double pixels) { return Number(1 - pixels / height); };
    script += "set border 3" + Colour(colours::Axis) + "\nset tics" + TextColour(colours::Text) +
              "\nset grid ytics linetype 1 linewidth 0.5" + Colour(colours::Grid) + "\n";
    script += "set tmargin at screen " + screen(70) + "\nset bmargin at screen " + screen(400) +
              "\nset lmargin at screen 0.0727\nset rmargin at screen 0.9545\n";
    script += "set ylabel " + Quoted(picture.currentAxis) + "\n";
    AppendLabel(script, picture.title, "screen 0.0727,screen " + screen(23) + " left");
    AppendLabel(script, picture.subtitle,
                "screen 0.0727,screen " + screen(47) + " left" + TextColour(colours::FaintText));
    if (std::any_of(picture.breaks.begin(), picture.breaks.end(),
                    [](const PictureBreak& gap) { return gap.label.empty(); }))
        AppendLabel(script, picture.breaksText,
                    "screen 0.0727,screen " + screen(453) + " left" + TextColour(colours::FaintText));
    double y = 458;
    for (const std::string& note : picture.notes)
        AppendLabel(script, note,
                    "screen 0.0727,screen " + screen(y += 20) + " left" + TextColour(colours::Note));
    script += "set key at screen 0.9545,screen " + screen(464) + " right bottom horizontal Left reverse\n";
    AppendBreaks(script, picture);
    const std::string playedWidth = picture.fine ? " linewidth 0.7" : " linewidth 3";
    AppendCap(script, picture, picture.played, playedWidth + Colour(colours::Played));
    AppendCap(script, picture, picture.asked, " linewidth 1.3" + Colour(colours::Asked));
    script += "plot $played with filledcurves y=0 fillstyle solid " + Number(colours::PlayedOpacity) +
              " noborder" + Colour(colours::Played) + " notitle, 0 with lines linewidth 1" +
              Colour(colours::Axis) + " notitle, $played with lines" + playedWidth + Colour(colours::Played) +
              " title " + Quoted(picture.playedName) + ", $asked with lines dashtype (18,11) linewidth 1.3" +
              Colour(colours::Asked) + " title " + Quoted(picture.askedName) + "\n";
}

}  // namespace

std::string GnuplotScript(const Picture& picture, PlotFormat format)
{
    std::string script = "set terminal " + Terminal(picture, format) + "\nset encoding utf8\n";
    const double capUa = format == PlotFormat::Text ? picture.capUa : 0;
    AppendCurve(script, "asked", picture.asked, capUa);
    AppendCurve(script, "played", picture.played, capUa);
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
