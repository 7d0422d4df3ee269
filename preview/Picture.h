#pragma once

#include <string>
#include <vector>

#include "Report.h"

// One cycle as asked and as played, ready to be drawn.
namespace preview {

// A point of a curve: where it is drawn, in microseconds of a time axis on which long pauses are shortened.
struct PicturePoint
{
    double at;
    double currentUa;
};

struct PictureTick
{
    double at;
    std::string label;
};

// A shortened pause.
struct PictureBreak
{
    double from;
    double to;
    std::string label;  // how long the pause really is
};

struct Picture
{
    std::string title;
    std::string subtitle;
    std::string timeUnit;  // "us" or "ms", of the ticks
    double width = 0;      // of the time axis
    double minUa = 0;      // of both curves, 0 included
    double maxUa = 0;
    std::vector<PicturePoint> asked;
    std::vector<PicturePoint> played;
    std::vector<PictureTick> ticks;
    std::vector<PictureBreak> breaks;
};

// REQUIRES: the report is on a text that has words.
Picture PictureOf(const Report& report);

}  // namespace preview
