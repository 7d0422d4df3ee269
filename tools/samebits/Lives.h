#pragma once

#include <string>

// Patterns that are made, edited and played at random, the same ones on every machine: the words that come out must be
// the same, too.
namespace samebits {

// One checksum of the words, states and texts of so many patterns and of their edits, 16 hexadecimal digits.
std::string ChecksumOfLives(unsigned long patterns);

}  // namespace samebits
