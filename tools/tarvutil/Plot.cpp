#include <algorithm>
#include <cmath>

#include "Commands.h"
#include "Fault.h"
#include "Gnuplot.h"
#include "Messages.h"
#include "PatternCommand.h"
#include "Picture.h"
#include "Svg.h"

using preview::Drawn;
using preview::Picture;

namespace {

struct PlotOptions : PatternOptions
{
    std::string output;
    bool train = false;
};

constexpr std::string_view NumberPlace = "%d";

bool EndsWith(const std::string& text, const std::string& end)
{
    return text.size() > end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// The picture in the format that the name of the file has.
std::string FileDrawing(const Picture& picture, const std::string& path)
{
    if (EndsWith(path, ".svg")) return SvgOf(picture);
    return RunGnuplot(GnuplotScript(picture, EndsWith(path, ".png") ? PlotFormat::Png : PlotFormat::Pdf));
}

void NeedFormat(const std::string& path)
{
    if (!path.empty() && !EndsWith(path, ".svg") && !EndsWith(path, ".png") && !EndsWith(path, ".pdf"))
        throw Fault("cannot draw " + path + ": its name must end in .svg, .png or .pdf");
    if (path.find(NumberPlace) != path.rfind(NumberPlace))
        throw Fault("cannot draw " + path + ": its name may have one %d");
}

// The lines of a drawing without the blanks that fill them up, and without empty lines.
std::string WithoutBlankEnds(const std::string& drawing)
{
    std::string text;
    for (std::size_t begin = 0; begin < drawing.size();) {
        const std::size_t end = std::min(drawing.find('\n', begin), drawing.size());
        std::string line = drawing.substr(begin, end - begin);
        line.erase(line.find_last_not_of(" \f\r") + 1);
        if (!line.empty()) text += line + "\n";
        begin = end + 1;
    }
    return text;
}

std::string TerminalDrawing(const Picture& picture)
{
    std::string text = picture.title + "\n" + picture.subtitle + "\n" +
                       WithoutBlankEnds(RunGnuplot(GnuplotScript(picture, PlotFormat::Text)));
    if (!picture.breaks.empty()) text += "// " + picture.breaksText + "\n";
    for (const std::string& note : picture.notes) text += note + "\n";
    return text;
}

class Plotter
{
 public:
    explicit Plotter(const PlotOptions& options)
        : m_options(options), m_place(options.output.find(NumberPlace))
    {}

    int Run()
    {
        NeedFormat(m_options.output);
        const int status =
            ForEachReport(m_options, m_options.profile.limits, preview::Purpose::Everything, Jobs{1},
                          m_messages, [this](Output&, const Place& place, const preview::Report& report) {
                              return Plot(place, report);
                          });
        if (!m_drawing.empty()) Save(m_options.output, m_drawing);
        return status;
    }

 private:
    // Draws a pattern that exceeds a limit, too: the plot says so.
    bool Plot(const Place& place, const preview::Report& report)
    {
        ++m_number;
        if (!report.encoding.Encoded()) return false;
        const preview::Deviations& deviations = report.deviations;
        if (m_options.train &&
            (std::isinf(deviations.cycles.asked) || std::isinf(deviations.cycles.played))) {
            PrintMessage(m_messages, place, "--train: the train has no end");
            return false;
        }
        const Picture picture = PictureOf(report, m_options.train ? Drawn::Train : Drawn::Cycle);
        if (m_options.output.empty())
            m_messages.Write(place.Text() + ": " + TerminalDrawing(picture));
        else if (m_place != std::string::npos)
            Save(NumberedName(), FileDrawing(picture, m_options.output));
        else if (m_drawing.empty())
            m_drawing = FileDrawing(picture, m_options.output);
        else
            throw Fault(m_options.output +
                        " has the plot of one pattern only; %d in the name gives each pattern its "
                        "own file");
        return true;
    }

    std::string NumberedName() const
    {
        std::string name = m_options.output;
        return name.replace(m_place, NumberPlace.size(), std::to_string(m_number));
    }

    static void Save(const std::string& path, const std::string& drawing)
    {
        Output file(path);
        file.Write(drawing);
        file.Finish();
    }

    const PlotOptions& m_options;
    const std::size_t m_place;  // of the number in the name of the file
    Output m_messages;
    std::size_t m_number = 0;  // of the pattern, from 1; refused ones count
    std::string m_drawing;     // the only one of a file, saved when no other follows
};

int Plot(const PlotOptions& options)
{
    return Plotter(options).Run();
}

}  // namespace

void AddPlot(CLI::App& program, int& exitStatus)
{
    const auto options = std::make_shared<PlotOptions>();
    CLI::App& command =
        AddPatternCommand(program, "plot", "Draw one cycle as asked and as played, long pauses shortened",
                          options, Plot, exitStatus);
    AddOutputOption(command, options->output, "FILE",
                    "Draw to FILE.svg, FILE.png or FILE.pdf; %d in FILE becomes the number of the pattern. "
                    "Without it, draw to the terminal as text");
    command.add_flag("--train", options->train, "Draw the whole train, to scale");
    command.footer("PNG, PDF and the terminal are drawn with gnuplot (Debian package gnuplot-nox).");
}
