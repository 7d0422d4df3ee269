#include "WordText.h"

#include <algorithm>
#include <charconv>

namespace {

constexpr int HexDigits = 8;

// Writes "0x" and eight digits.
void PutWord(char* out, unsigned int word)
{
    static constexpr char Digits[] = "0123456789ABCDEF";
    out[0] = '0';
    out[1] = 'x';
    for (int i = 1 + HexDigits; i >= 2; --i, word >>= 4) out[i] = Digits[word & 15U];
}

bool ReadWord(std::string_view text, unsigned int& word)
{
    if (text.size() < 3 || text.size() > 2 + HexDigits || text[0] != '0' || (text[1] | ' ') != 'x')
        return false;
    const char* end = text.data() + text.size();
    return std::from_chars(text.data() + 2, end, word, 16).ptr == end;
}

}  // namespace

void AppendWords(std::string& line, const std::vector<unsigned int>& words)
{
    // With the blank behind it.
    constexpr std::size_t Width = 2 + HexDigits + 1;
    std::size_t at = line.size();
    line.resize(at + Width * words.size(), ' ');
    for (const unsigned int word : words) {
        PutWord(&line[at], word);
        at += Width;
    }
    if (!words.empty()) line.pop_back();
    line += '\n';
}

std::string WordText(unsigned int word)
{
    std::string text(2 + HexDigits, ' ');
    PutWord(text.data(), word);
    return text;
}

std::string_view ReadWords(std::string_view line, std::vector<unsigned int>& words)
{
    constexpr const char* Blanks = " \t\v\f\r";
    for (;;) {
        line.remove_prefix(std::min(line.find_first_not_of(Blanks), line.size()));
        if (line.empty()) return {};
        const std::string_view text = line.substr(0, line.find_first_of(Blanks));
        unsigned int word = 0;
        if (!ReadWord(text, word)) return text;
        words.push_back(word);
        line.remove_prefix(text.size());
    }
}
