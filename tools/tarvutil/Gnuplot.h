#pragma once

#include <string>

#include "Picture.h"

// The formats that gnuplot draws in; Text is for a terminal.
enum class PlotFormat
{
    Text,
    Png,
    Pdf,
};

// The commands with which gnuplot draws the picture to its standard output.
std::string GnuplotScript(const preview::Picture& picture, PlotFormat format);

// The standard output of gnuplot for a script whose last line draws. Throws Fault when gnuplot is missing or fails.
std::string RunGnuplot(const std::string& script);
