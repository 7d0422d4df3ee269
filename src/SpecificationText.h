#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

#include "NumberText.h"

// The pieces of a specification string, without copies.
namespace TarvUtil::Internal {

// A message about a text, at its full length.
inline std::string Quoting(std::string_view message, std::string_view text, std::string_view end)
{
    std::string quoting;
    quoting.reserve(message.size() + text.size() + end.size());
    return quoting.append(message).append(text).append(end);
}

inline bool IsBlankOr(char alsoBlank, char c)
{
    return c == alsoBlank || IsBlank(c);
}

// text without the white space in front, or at both ends; alsoBlank is white space, too.
inline std::string_view StrippedInFront(std::string_view text, char alsoBlank)
{
    while (!text.empty() && IsBlankOr(alsoBlank, text.front())) text.remove_prefix(1);
    return text;
}

inline std::string_view Stripped(std::string_view text, char alsoBlank)
{
    text = StrippedInFront(text, alsoBlank);
    while (!text.empty() && IsBlankOr(alsoBlank, text.back())) text.remove_suffix(1);
    return text;
}

// Returns the piece before the first delimiter, or all of text. Removes the piece and the delimiter from text.
inline std::string_view CutPiece(std::string_view& text, char delimiter)
{
    // Most pieces are a few characters long, where a loop beats a search by the library.
    const std::size_t near = std::min(text.size(), std::size_t{8});
    std::size_t end = 0;
    while (end < near && text[end] != delimiter) ++end;
    if (end == near) end = std::min(text.find(delimiter, near), text.size());
    const std::string_view piece = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return piece;
}

// Cuts text at a delimiter, piece by piece, empty pieces included; a delimiter at the end is followed by no piece.
class Pieces
{
 public:
    Pieces(std::string_view text, char delimiter) : m_rest(text), m_delimiter(delimiter) {}

    bool Next(std::string_view& piece)
    {
        if (m_rest.empty()) return false;
        piece = CutPiece(m_rest, m_delimiter);
        return true;
    }

    // What is not cut yet.
    std::string_view Rest() const { return m_rest; }

    bool NextNotEmpty(std::string_view& piece)
    {
        while (Next(piece))
            if (!piece.empty()) return true;
        return false;
    }

 private:
    std::string_view m_rest;
    char m_delimiter;
};

// The first pieces of text that are not empty, up to N of them; the others are empty.
template <std::size_t N>
struct Fields
{
    Fields(std::string_view text, char delimiter)
    {
        Pieces pieces(text, delimiter);
        while (count < N && pieces.NextNotEmpty(field[count])) ++count;
        rest = pieces.Rest();
    }

    std::string_view field[N];
    std::size_t count = 0;
    std::string_view rest;  // what follows them
};

// The value of a field "name[value]" without the white space around it; the closing bracket is optional, and
// every "]" counts as a blank. False when the field has no name, no "[" or more than one.
inline bool BracketedValue(std::string_view field, std::string_view& value)
{
    const Fields<3> tokens(field, '[');
    if (tokens.count != 2) return false;
    value = Stripped(tokens.field[1], ']');
    return true;
}

}  // namespace TarvUtil::Internal
