#pragma once

#include <string>
#include <vector>

#include "Report.h"

// One cycle, or the whole train, as asked and as played: ready to be drawn, by Svg.h or by any other means.
namespace preview {

// A point of a curve: where it is drawn, in microseconds of a time axis on which long pauses are shortened.
struct PicturePoint
{
    double at;
    double currentUa;
};

struct PictureTick
{
    double at;  // of the time axis, or microamperes
    std::string label;
};

// A shortened pause.
struct PictureBreak
{
    double from;
    double to;
    std::string label;  // how long the pause really is; empty where it would not fit
};

// Colours as "#rrggbb". Played and asked also differ in lightness and line, for colour-blind readers and prints in grey.
namespace colours {
constexpr const char* Played = "#0072b2";  // a line, and filled towards 0 with PlayedOpacity
constexpr double PlayedOpacity = 0.25;
constexpr const char* Asked = "#000000";  // a dashed line
constexpr const char* Text = "#000000";
constexpr const char* FaintText = "#555555";
constexpr const char* Note = "#9c3d00";
constexpr const char* Axis = "#888888";
constexpr const char* Grid = "#dddddd";
constexpr const char* Break = "#eeeeee";
constexpr const char* Ground = "#ffffff";
}  // namespace colours

// Texts are valid UTF-8 without control characters; other bytes are the replacement character.
struct Picture
{
    std::string title;  // the specification string, a long one shortened in its middle
    std::string subtitle;
    std::vector<std::string> notes;  // what is played otherwise than asked, as encode warns of it
    std::string timeAxis;            // "time, us", ms or s, the unit of timeTicks
    std::string currentAxis;         // "current, uA"
    std::string askedName;           // in the key
    std::string playedName;
    double width = 1;                 // of the time axis, above 0
    double lowUa = -1;                // of the current axis: both curves, 0 and some room
    double highUa = 1;                // above lowUa
    double capUa = 0.1;               // each curve ends in a stroke from -capUa to capUa
    bool fine = false;                // played has too many cycles to distinguish: a thin line
    std::vector<PicturePoint> asked;  // ends where the cycle or train asked ends
    std::vector<PicturePoint> played;
    std::vector<PictureTick> timeTicks;
    std::vector<PictureTick> currentTicks;
    std::vector<PictureBreak> breaks;
    std::string breaksText;  // "12 shortened pauses of 9.6 ms": where breaks have no labels, or none that fit
};

enum class Drawn
{
    Cycle,
    Train,
};

// REQUIRES: the report is on a text that has words, and for Drawn::Train neither train is continuous.
Picture PictureOf(const Report& report, Drawn drawn = Drawn::Cycle);

// A point of the time axis of a cycle, on which it is linear between two of them.
struct TimeKnot
{
    double usec;
    double at;
};

// How PictureOf places the times of a cycle, from 0 to its end, for other ways to draw a cycle. REQUIRES: the
// report is on a text that has words.
std::vector<TimeKnot> TimeAxisOf(const Report& report);

}  // namespace preview
