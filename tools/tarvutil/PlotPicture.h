#pragma once

#include <string>
#include <vector>

#include "Deviations.h"

// A point of a curve: where it is drawn, in microseconds of a time axis on which long pauses are shortened.
struct PlotPoint
{
    double at;
    double currentUa;
};

struct PlotTick
{
    double at;
    std::string label;
};

// A shortened pause.
struct PlotBreak
{
    double from;
    double to;
    std::string label;  // how long the pause really is
};

// One cycle as asked and as played, ready to be drawn.
struct PlotPicture
{
    std::string title;
    std::string subtitle;
    std::string timeUnit;  // "us" or "ms", of the ticks
    double width = 0;      // of the time axis
    double minUa = 0;      // of both curves, 0 included
    double maxUa = 0;
    std::vector<PlotPoint> asked;
    std::vector<PlotPoint> played;
    std::vector<PlotTick> ticks;
    std::vector<PlotBreak> breaks;
};

// REQUIRES: reading.Encoded().
PlotPicture PictureOf(const Stimulator& stimulator, const Reading& reading);
