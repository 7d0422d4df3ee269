#pragma once

#include <string>

// Numbers as text, with a decimal point whatever the locale.
namespace preview {

// The fewest digits that read back to value, 0 for either zero; without an exponent from 0.0001 to 1e15.
//
//     33.333332f -> "33.333332",  200.0f -> "200",  100000.0f -> "100000",  1e20f -> "1e+20"
void AppendShortest(std::string& text, float value);
std::string Shortest(float value);

// value to the nearest thousandth, or to other decimals, without zeros at the end: for times and currents computed
// from others.
//
//     199.99999 -> "200",  33.333332 -> "33.333",  -0.0001 -> "0"
std::string Rounded(double value, int decimals = 3);
void AppendRounded(std::string& text, double value, int decimals = 3);

// The double whose shortest text is that of value: what a JSON writer shall be given for a float.
//
//     33.333332f -> 33.333332 (the float itself is 33.3333320617...)
double ShortestDouble(float value);

}  // namespace preview
