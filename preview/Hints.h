#pragma once

#include <string>

#include "Asked.h"

// What the writer of a text probably meant: a guess for a message. It is never used as a value.
namespace preview {

// "−" -> "−" is not the minus sign "-"; 2OO -> the letter "O" is not the digit "0"; 0.2ms -> a length is in
// microseconds, without a unit: 200. Empty when nothing is recognised.
std::string HintOn(const Asked& asked, const Irregularity& irregularity);

}  // namespace preview
