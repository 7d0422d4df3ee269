#include <algorithm>

#include "Commands.h"
#include "Fault.h"
#include "Gnuplot.h"
#include "PatternCommand.h"
#include "Picture.h"

namespace {

struct Options : PatternOptions
{
    std::string output;
};

bool EndsWith(const std::string& text, const std::string& end)
{
    return text.size() > end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

PlotFormat FormatOf(const std::string& path)
{
    if (path.empty()) return PlotFormat::Text;
    if (EndsWith(path, ".svg")) return PlotFormat::Svg;
    if (EndsWith(path, ".png")) return PlotFormat::Png;
    if (EndsWith(path, ".pdf")) return PlotFormat::Pdf;
    throw Fault("cannot tell how to draw " + path + ": its name must end in .svg, .png or .pdf");
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

int Plot(const Options& options)
{
    const PlotFormat format = FormatOf(options.output);
    const bool toFile = format != PlotFormat::Text;
    Output messages;
    std::string drawing;
    const int status =
        ForEachReport(options, {}, messages, [&](const Place& place, const preview::Report& report) {
            if (!report.encoding.Encoded()) return false;
            if (!drawing.empty()) throw Fault(options.output + " can hold the plot of one pattern only");
            const preview::Picture picture = PictureOf(report);
            drawing = RunGnuplot(GnuplotScript(picture, format));
            if (toFile) return true;
            messages.Write(place.Text() + ": " + picture.subtitle + "\n" + WithoutBlankEnds(drawing));
            drawing.clear();
            return true;
        });
    if (drawing.empty()) return status;
    Output file(options.output);
    file.Write(drawing);
    file.Finish();
    return status;
}

}  // namespace

void AddPlot(CLI::App& program, int& exitStatus)
{
    const auto options = std::make_shared<Options>();
    CLI::App& command =
        AddPatternCommand(program, "plot", "Draw one cycle as asked and as played, long pauses shortened",
                          options, Plot, exitStatus);
    AddOutputOption(command, options->output, "FILE",
                    "Draw to FILE.svg, FILE.png or FILE.pdf; to the terminal as text without it");
    command.footer("Draws with gnuplot (Debian package gnuplot-nox).");
}
