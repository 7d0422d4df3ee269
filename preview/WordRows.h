#pragma once

#include <vector>

#include "Playback.h"
#include "Stimulator.h"

namespace preview {

// One word of an array and its fields, in the units of the user.
struct WordRow
{
    unsigned int bits;
    playback::Kind kind;
    playback::Word word;  // of a stimulation word
    double durationUsec;
    double currentUa;
};

// REQUIRES: words begin with word 0.
std::vector<WordRow> RowsOf(const playback::Scale& scale, const std::vector<unsigned int>& words);

}  // namespace preview
