#pragma once

#include <string>
#include <string_view>
#include <vector>

// Words as text: "0x0006A01E", in a line separated by one space.

void AppendWords(std::string& line, const std::vector<unsigned int>& words);
std::string WordText(unsigned int word);

// Reads the words of a line, separated by blanks. Returns what is no word of at most 32 bits, or nothing.
std::string_view ReadWords(std::string_view line, std::vector<unsigned int>& words);
