#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Word arrays as text: words as "0x0006A01E", in a line separated by one space, or the JSON objects of WordsJson.
namespace preview {

std::string WordText(unsigned int word);
// The words of a line, with the line's end.
void AppendWords(std::string& text, const std::vector<unsigned int>& words);

// A line of words as it was read.
struct WordLine
{
    std::vector<unsigned int> words;
    std::optional<float> timeStepUsec;  // the steps that the words were made for, where the line has them
    std::optional<float> ampStepUa;
    std::optional<long long> cycles;  // of the whole train, where the line has them
    bool continuous = false;
};

// Reads a line of words into line, which is empty. Returns its fault, or nothing.
std::string ReadWordLine(std::string_view text, WordLine& line);

}  // namespace preview
