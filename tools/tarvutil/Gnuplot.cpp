#include "Gnuplot.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "Fault.h"
#include "NumberFormat.h"

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

namespace {

// A child that runs gnuplot with a pipe to its standard input and one from its standard output.
class Gnuplot
{
 public:
    Gnuplot()
    {
        if (pipe2(m_input, O_CLOEXEC) != 0 || pipe2(m_output, O_CLOEXEC) != 0)
            throw Fault(std::string("cannot start gnuplot: ") + std::strerror(errno));
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, m_input[0], STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, m_output[1], STDOUT_FILENO);
        char name[] = "gnuplot";
        char* arguments[] = {name, nullptr};
        // Without a locale of UTF-8 gnuplot warns that it cannot write a degree sign.
        char locale[] = "LC_ALL=C.UTF-8";
        std::vector<char*> environment{locale};
        for (char** variable = environ; *variable != nullptr; ++variable)
            if (std::strncmp(*variable, "LC_ALL=", 7) != 0) environment.push_back(*variable);
        environment.push_back(nullptr);
        const int error = posix_spawnp(&m_child, name, &actions, nullptr, arguments, environment.data());
        posix_spawn_file_actions_destroy(&actions);
        Close(m_input[0]);
        Close(m_output[1]);
        if (error == ENOENT)
            throw Fault("plot needs gnuplot, which is not installed: apt-get install gnuplot-nox");
        if (error != 0) throw Fault(std::string("cannot start gnuplot: ") + std::strerror(error));
    }
    ~Gnuplot()
    {
        for (int* fd : {&m_input[0], &m_input[1], &m_output[0], &m_output[1]}) Close(*fd);
        if (m_child > 0) waitpid(m_child, nullptr, 0);
    }
    Gnuplot(const Gnuplot&) = delete;
    Gnuplot& operator=(const Gnuplot&) = delete;

    void Write(std::string_view script)
    {
        while (!script.empty()) {
            const ssize_t count = write(m_input[1], script.data(), script.size());
            if (count < 0 && errno == EINTR) continue;
            if (count < 0) break;  // it has ended, and Succeeded returns how
            script.remove_prefix(static_cast<std::size_t>(count));
        }
        Close(m_input[1]);
    }

    std::string Read()
    {
        std::string text;
        char block[16384];
        for (ssize_t count = 0; (count = read(m_output[0], block, sizeof block)) != 0;) {
            if (count < 0 && errno == EINTR) continue;
            if (count < 0) break;
            text.append(block, static_cast<std::size_t>(count));
        }
        return text;
    }

    bool Succeeded()
    {
        int status = 0;
        while (waitpid(m_child, &status, 0) < 0 && errno == EINTR) {
        }
        m_child = -1;
        return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }

 private:
    static void Close(int& fd)
    {
        if (fd >= 0) close(fd);
        fd = -1;
    }

    int m_input[2] = {-1, -1};
    int m_output[2] = {-1, -1};
    pid_t m_child = -1;
};

}  // namespace

std::string RunGnuplot(const std::string& script)
{
    Gnuplot gnuplot;
    gnuplot.Write(script);
    std::string drawing = gnuplot.Read();
    if (!gnuplot.Succeeded() || drawing.empty()) throw Fault("gnuplot could not draw the plot");
    return drawing;
}
