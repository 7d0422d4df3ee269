#include "Utf8.h"

#include <algorithm>

namespace preview {
namespace {

constexpr const char* Replacement = "\xEF\xBF\xBD";
constexpr const char* Ellipsis = "\xE2\x80\xA6";

// How many bytes follow the first of a character; -1 when none begins so.
int Continuations(unsigned char first)
{
    if (first < 0x80) return 0;
    if (first >= 0xC2 && first < 0xE0) return 1;
    if (first >= 0xE0 && first < 0xF0) return 2;
    return first >= 0xF0 && first < 0xF5 ? 3 : -1;
}

// REQUIRES: character is one of UTF-8.
unsigned int CodePoint(std::string_view character)
{
    const auto first = static_cast<unsigned char>(character[0]);
    if (character.size() == 1) return first;
    unsigned int code = first & (0x7FU >> character.size());
    for (const char c : character.substr(1)) code = code << 6U | (static_cast<unsigned char>(c) & 0x3FU);
    return code;
}

bool IsControl(unsigned int code)
{
    return code < 0x20 || (code >= 0x7F && code < 0xA0);
}

// Nor do those that XML has no place for.
bool IsShown(unsigned int code)
{
    return !IsControl(code) && code != 0xFFFE && code != 0xFFFF;
}

std::size_t WidthOf(unsigned int code)
{
    if ((code >= 0x300 && code < 0x370) || (code >= 0x200B && code < 0x2010) || code == 0xFE0F) return 0;
    return code < 0x1100 || (code >= 0x1E00 && code < 0x2E80) || code == 0xFFFD ? 1 : 2;
}

// The beginning of text that is that many columns wide at most.
std::string_view Beginning(std::string_view text, std::size_t columns)
{
    std::size_t at = 0;
    for (std::size_t width = 0; at < text.size();) {
        const std::size_t size = Utf8Size(text, at);
        width += WidthOf(CodePoint(text.substr(at, size)));
        if (width > columns) break;
        at += size;
    }
    return text.substr(0, at);
}

}  // namespace

std::size_t Utf8Size(std::string_view text, std::size_t at)
{
    const auto first = static_cast<unsigned char>(text[at]);
    const int count = Continuations(first);
    if (count < 0 || text.size() - at <= static_cast<std::size_t>(count)) return 0;
    for (int k = 1; k <= count; ++k) {
        const auto byte = static_cast<unsigned char>(text[at + static_cast<std::size_t>(k)]);
        // The second byte alone excludes longer forms of a character, surrogates, and characters above the last.
        const int low = k > 1 ? 0x80 : first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
        const int high = k > 1 ? 0xBF : first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
        if (byte < low || byte > high) return 0;
    }
    return static_cast<std::size_t>(count) + 1;
}

bool IsUtf8(std::string_view text)
{
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t size = Utf8Size(text, at);
        if (size == 0) return false;
        at += size;
    }
    return true;
}

std::size_t ShownWidth(std::string_view text)
{
    std::size_t width = 0;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t size = Utf8Size(text, at);
        width += size == 0 ? 1 : WidthOf(CodePoint(text.substr(at, size)));
        at += std::max(size, std::size_t{1});
    }
    return width;
}

std::string ShownText(std::string_view text, std::size_t columns)
{
    std::string shown;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t size = Utf8Size(text, at);
        const std::string_view character = text.substr(at, std::max(size, std::size_t{1}));
        if (character == "\t")
            shown += ' ';
        else if (size == 0 || !IsShown(CodePoint(character)))
            shown += Replacement;
        else
            shown += character;
        at += character.size();
    }
    const std::size_t width = ShownWidth(shown);
    if (width <= columns) return shown;
    const std::size_t left = columns - std::min<std::size_t>(columns, 1);
    const std::string_view head = Beginning(shown, left - left / 3);
    // The part left out is as wide as the text must become shorter, or one column wider if that would cut a character.
    const std::size_t lost = width - left / 3;
    std::string_view tail = shown;
    tail.remove_prefix(Beginning(shown, lost).size());
    while (ShownWidth(tail) > left / 3) tail.remove_prefix(Utf8Size(tail, 0));
    return std::string(head) + Ellipsis + std::string(tail);
}

std::string Visible(std::string_view text)
{
    static constexpr char Digits[] = "0123456789ABCDEF";
    const auto isControl = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; };
    std::string visible;
    visible.reserve(text.size());
    for (;;) {
        const auto control = std::find_if(text.begin(), text.end(), isControl);
        visible.append(text.begin(), control);
        if (control == text.end()) return visible;
        const auto byte = static_cast<unsigned char>(*control);
        visible.append("\\x").append(1, Digits[byte >> 4U]).append(1, Digits[byte & 15U]);
        text.remove_prefix(static_cast<std::size_t>(control - text.begin()) + 1);
    }
}

}  // namespace preview
