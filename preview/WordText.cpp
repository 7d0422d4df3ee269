#include "WordText.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <nlohmann/json.hpp>

#include "NumberText.h"

namespace preview {
namespace {

using Json = nlohmann::json;

constexpr int HexDigits = 8;

// The two digits of each byte.
struct ByteTexts
{
    constexpr ByteTexts()
    {
        constexpr char Digits[] = "0123456789ABCDEF";
        for (std::size_t byte = 0; byte < 256; ++byte) {
            text[2 * byte] = Digits[byte / 16];
            text[2 * byte + 1] = Digits[byte % 16];
        }
    }
    char text[512] = {};
};

// Writes "0x" and eight digits.
void PutWord(char* out, unsigned int word)
{
    static constexpr ByteTexts Bytes;
    out[0] = '0';
    out[1] = 'x';
    for (int i = HexDigits; i >= 2; i -= 2, word >>= 8)
        std::memcpy(out + i, &Bytes.text[2 * (word & 255U)], 2);
}

bool ReadWord(std::string_view text, unsigned int& word)
{
    if (text.size() < 3 || text.size() > 2 + HexDigits || text[0] != '0' || (text[1] | ' ') != 'x')
        return false;
    const char* end = text.data() + text.size();
    return std::from_chars(text.data() + 2, end, word, 16).ptr == end;
}

}  // namespace

void AppendWords(std::string& text, const std::vector<unsigned int>& words)
{
    // With the blank after it.
    constexpr std::size_t Width = 2 + HexDigits + 1;
    std::size_t at = text.size();
    text.resize(at + Width * words.size(), ' ');
    for (const unsigned int word : words) {
        PutWord(&text[at], word);
        at += Width;
    }
    if (!words.empty()) text.pop_back();
    text += '\n';
}

std::string WordText(unsigned int word)
{
    std::string text(2 + HexDigits, ' ');
    PutWord(text.data(), word);
    return text;
}

namespace {

// Returns the text that is not a word, or nothing.
std::string_view ReadWords(std::string_view line, std::vector<unsigned int>& words)
{
    // A line feed ends the line.
    const auto isBlank = [](char c) { return TarvUtil::Internal::IsBlank(c) && c != '\n'; };
    words.reserve(words.size() + line.size() / (2 + HexDigits) + 1);
    for (;;) {
        while (!line.empty() && isBlank(line.front())) line.remove_prefix(1);
        if (line.empty()) return {};
        std::size_t size = 1;
        while (size < line.size() && !isBlank(line[size])) ++size;
        const std::string_view text = line.substr(0, size);
        unsigned int word = 0;
        if (!ReadWord(text, word)) return text;
        words.push_back(word);
        line.remove_prefix(text.size());
    }
}

std::string ReadHexLine(std::string_view text, std::vector<unsigned int>& words)
{
    const std::string_view fault = ReadWords(text, words);
    return fault.empty() ? std::string() : "not a word such as 0x0006A01E: " + std::string(fault);
}

std::string ReadStep(const Json& json, const char* key, std::optional<float>& step)
{
    const auto found = json.find(key);
    if (found == json.end()) return {};
    const float value = found->is_number() ? found->get<float>() : 0;
    if (!(value > 0) || !std::isfinite(value)) return std::string(key) + " is not a finite number above 0";
    step = value;
    return {};
}

std::string ReadJsonLine(std::string_view text, WordLine& line)
{
    // All keys that are read are at this level; deeper ones are left out to save memory.
    constexpr int Depth = 2;
    const auto keep = [](int depth, Json::parse_event_t, const Json&) { return depth <= Depth; };
    const Json json = Json::parse(text, keep, false);
    if (!json.is_object()) return "not a JSON object: " + std::string(text);
    if (json.contains("errors")) return "the pattern was not encoded and has no words";
    const auto words = json.find("words");
    if (words == json.end() || !words->is_array()) return "the JSON object has no array \"words\"";
    for (const Json& word : *words) {
        if (!word.is_number_unsigned() ||
            word.get<std::uint64_t>() > std::numeric_limits<unsigned int>::max())
            return "not a 32-bit word: " + word.dump(-1, ' ', false, Json::error_handler_t::replace);
        line.words.push_back(word.get<unsigned int>());
    }
    const auto cycles = json.find("cycles");
    if (cycles != json.end() && cycles->is_number_unsigned()) line.cycles = cycles->get<long long>();
    const auto continuous = json.find("continuous");
    line.continuous = continuous != json.end() && *continuous == true;
    std::string fault = ReadStep(json, "time_step_us", line.timeStepUsec);
    return fault.empty() ? ReadStep(json, "amp_step_ua", line.ampStepUa) : fault;
}

}  // namespace

std::string ReadWordLine(std::string_view text, WordLine& line)
{
    const std::size_t first = std::min(text.find_first_not_of(" \t"), text.size());
    return text.substr(first, 1) == "{" ? ReadJsonLine(text, line) : ReadHexLine(text, line.words);
}

}  // namespace preview
