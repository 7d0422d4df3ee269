#include "Svg.h"

#include <algorithm>

#include "NumberFormat.h"
#include "Utf8.h"

namespace preview {
namespace {

// The drawing, in its own units: a text of the usual size is 14 high.
constexpr double Width = 1100;
constexpr double Left = 80;  // of the area of the curves
constexpr double Right = 1050;
constexpr double Top = 70;
constexpr double Bottom = 400;
constexpr double KeyLine = 462;  // where the names of the curves stand
constexpr double NoteHeight = 20;
constexpr double Foot = 18;  // below the last line
constexpr double FontSize = 14;
constexpr double CharWidth = 0.53 * FontSize;

std::string Escaped(std::string_view text)
{
    std::string escaped;
    for (const char c : text) {
        if (c == '&')
            escaped += "&amp;";
        else if (c == '<')
            escaped += "&lt;";
        else if (c == '>')
            escaped += "&gt;";
        else
            escaped += c;
    }
    return escaped;
}

// To a hundredth of a unit, which no screen shows.
std::string Number(double value)
{
    return Rounded(value, 2);
}

std::string Attribute(const char* name, double value)
{
    return std::string(" ") + name + "=\"" + Number(value) + '"';
}

class Drawing
{
 public:
    explicit Drawing(const Picture& picture)
        : m_picture(picture),
          m_height(KeyLine + NoteHeight * static_cast<double>(picture.notes.size()) + Foot)
    {}

    std::string Text()
    {
        Begin();
        Breaks();
        Axes();
        Curves();
        Texts();
        return m_svg + "</svg>\n";
    }

 private:
    double X(double at) const { return Left + at / m_picture.width * (Right - Left); }
    double Y(double ua) const
    {
        return Bottom - (ua - m_picture.lowUa) / (m_picture.highUa - m_picture.lowUa) * (Bottom - Top);
    }

    void Begin()
    {
        m_svg = "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " + Number(Width) + " " +
                Number(m_height) + "\" width=\"" + Number(Width) + "\" height=\"" + Number(m_height) +
                "\" role=\"img\" font-family=\"sans-serif\" font-size=\"" + Number(FontSize) + "\">\n";
        m_svg += "<title>" + Escaped(m_picture.title) + "</title>\n<desc>" + Escaped(m_picture.subtitle) +
                 "</desc>\n";
        m_svg += "<rect width=\"100%\" height=\"100%\" fill=\"" + std::string(colours::Ground) + "\"/>\n";
    }

    void Line(double x1, double y1, double x2, double y2, const std::string& stroke)
    {
        m_svg += "<path d=\"M" + Number(x1) + " " + Number(y1) + "L" + Number(x2) + " " + Number(y2) +
                 "\" stroke=\"" + stroke + "/>\n";
    }

    // attributes: further ones, each with a blank in front.
    void Label(double x, double y, std::string_view text, const std::string& attributes)
    {
        m_svg +=
            "<text" + Attribute("x", x) + Attribute("y", y) + attributes + ">" + Escaped(text) + "</text>\n";
    }

    static std::string Fill(const char* colour) { return std::string(" fill=\"") + colour + '"'; }

    // A band, with the length of the pause in it and two strokes through the axis of time.
    void Breaks()
    {
        constexpr double StrokesWidth = 14;
        for (const PictureBreak& gap : m_picture.breaks) {
            const double from = X(gap.from);
            const double to = X(gap.to);
            m_svg += "<rect" + Attribute("x", from) + Attribute("y", Top) + Attribute("width", to - from) +
                     Attribute("height", Bottom - Top) + Fill(colours::Break) + "/>\n";
            const double middle = (from + to) / 2;
            if (to - from > StrokesWidth)
                for (const double side : {-3.0, 3.0})
                    Line(middle + side - 3, Bottom + 6, middle + side + 3, Bottom - 6,
                         std::string(colours::FaintText) + "\" stroke-width=\"1.5\"");
            if (gap.label.empty()) continue;
            const std::string label = "pause, " + gap.label;
            if (to - from > CharWidth * static_cast<double>(ShownWidth(label) + 2))
                Label(middle, Top + 18, label, " text-anchor=\"middle\"" + Fill(colours::FaintText));
            else
                Label(middle + 5, Bottom - 12, label,
                      Fill(colours::FaintText) + " transform=\"rotate(-90 " + Number(middle + 5) + " " +
                          Number(Bottom - 12) + ")\"");
        }
    }

    void Axes()
    {
        const std::string axis = std::string(colours::Axis) + '"';
        for (const PictureTick& tick : m_picture.currentTicks) {
            Line(Left, Y(tick.at), Right, Y(tick.at),
                 std::string(tick.at == 0 ? colours::Axis : colours::Grid) + '"');
            Label(Left - 8, Y(tick.at) + 5, tick.label, " text-anchor=\"end\"");
        }
        Line(Left, Top, Left, Bottom, axis);
        Line(Left, Bottom, Right, Bottom, axis);
        for (const PictureTick& tick : m_picture.timeTicks) {
            Line(X(tick.at), Bottom, X(tick.at), Bottom + 6, axis);
            Label(X(tick.at), Bottom + 21, tick.label, " text-anchor=\"middle\"");
        }
    }

    std::string Path(const std::vector<PicturePoint>& points) const
    {
        std::string path;
        char command = 'M';
        for (const PicturePoint& point : points) {
            path += command + Number(X(point.at)) + " " + Number(Y(point.currentUa));
            command = 'L';
        }
        return path;
    }

    // The end of a curve: a stroke across 0.
    std::string Cap(const std::vector<PicturePoint>& points) const
    {
        const std::string x = Number(points.empty() ? Left : X(points.back().at));
        return "M" + x + " " + Number(Y(-m_picture.capUa)) + "L" + x + " " + Number(Y(m_picture.capUa));
    }

    void Stroke(const std::string& path, const std::string& stroke)
    {
        m_svg +=
            "<path d=\"" + path + "\" fill=\"none\" stroke-linejoin=\"round\" stroke=\"" + stroke + "/>\n";
    }

    std::string PlayedStroke() const
    {
        return std::string(colours::Played) + "\" stroke-width=\"" + (m_picture.fine ? "0.7" : "3") + '"';
    }
    static std::string AskedStroke()
    {
        return std::string(colours::Asked) + "\" stroke-width=\"1.3\" stroke-dasharray=\"8 5\"";
    }

    void Curves()
    {
        const std::string played = Path(m_picture.played);
        m_svg += "<path d=\"" + played + "Z\"" + Fill(colours::Played) +
                 Attribute("fill-opacity", colours::PlayedOpacity) + "/>\n";
        Stroke(played, PlayedStroke());
        Stroke(Cap(m_picture.played), PlayedStroke());
        Stroke(Path(m_picture.asked), AskedStroke());
        Stroke(Cap(m_picture.asked), std::string(colours::Asked) + "\" stroke-width=\"1.3\"");
    }

    void Texts()
    {
        Label(Left, 28, m_picture.title, " font-size=\"16\"" + Fill(colours::Text));
        Label(Left, 52, m_picture.subtitle, Fill(colours::FaintText));
        Label((Left + Right) / 2, Bottom + 44, m_picture.timeAxis, " text-anchor=\"middle\"");
        Label(24, (Top + Bottom) / 2, m_picture.currentAxis,
              " text-anchor=\"middle\" transform=\"rotate(-90 24 " + Number((Top + Bottom) / 2) + ")\"");
        Key();
        if (std::any_of(m_picture.breaks.begin(), m_picture.breaks.end(),
                        [](const PictureBreak& gap) { return gap.label.empty(); }))
            Label(Left, KeyLine - 4, m_picture.breaksText, Fill(colours::FaintText));
        double y = KeyLine;
        for (const std::string& note : m_picture.notes)
            Label(Left, y += NoteHeight, note, " font-size=\"13\"" + Fill(colours::Note));
    }

    // The names of the curves, right-aligned below the axis, each after a piece of its line.
    void Key()
    {
        double x = Right;
        for (const bool asked : {true, false}) {
            const std::string& name = asked ? m_picture.askedName : m_picture.playedName;
            Label(x, KeyLine - 4, name, " text-anchor=\"end\"");
            x -= CharWidth * static_cast<double>(ShownWidth(name)) + 12;
            Line(x - 40, KeyLine - 9, x, KeyLine - 9, asked ? AskedStroke() : PlayedStroke());
            x -= 64;
        }
    }

    const Picture& m_picture;
    const double m_height;
    std::string m_svg;
};

}  // namespace

std::string SvgOf(const Picture& picture)
{
    return Drawing(picture).Text();
}

}  // namespace preview
