// Prints one checksum of the words, states and texts of many patterns and edits. It must be the same with every
// compiler, level of optimisation and processor: a word must not depend on where it was made.
//
//     SameBits [PATTERNS [CHECKSUM]]
//
// With a checksum the result is compared, and the program fails when it differs.

#include <cstdio>
#include <cstdlib>

#include "Lives.h"

int main(int argc, char** argv)
{
    const unsigned long patterns = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 20000;
    const std::string checksum = samebits::ChecksumOfLives(patterns);
    std::puts(checksum.c_str());
    if (argc < 3 || checksum == argv[2]) return 0;
    std::fprintf(stderr, "%lu patterns: expected %s\n", patterns, argv[2]);
    return 1;
}
