#pragma once

#include <charconv>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>

// JSON as text, written piece by piece: reports of a million lines have no time for a tree of values. Keys keep the
// order in which they are written. Numbers and texts look as those of nlohmann::json.
namespace preview {

// A number computed from others, written to the millionth: its further digits come from rounding. null if it is
// infinite or not a number.
//
//     199.9999999 -> 200.0    -0.0000038 -> -4e-06    1e300 -> 1e+300
struct Figure
{
    double value;
};

class JsonWriter
{
 public:
    // Appends to text. REQUIRES: text is not used while the writer lives.
    explicit JsonWriter(std::string& text) : m_text(text), m_end(text.size()) {}
    ~JsonWriter() { m_text.resize(m_end); }
    JsonWriter(const JsonWriter&) = delete;
    JsonWriter& operator=(const JsonWriter&) = delete;

    void Open(char bracket)
    {
        Separate();
        Put(bracket);
        m_separate = false;
    }
    void Close(char bracket)
    {
        Put(bracket);
        m_separate = true;
    }

    // A value is a bool, a number, a text, null, or a function that writes one value. A double has the fewest digits
    // that read back to it, and so has a float.
    template <typename Written>
    void Value(const Written& value)
    {
        if constexpr (std::is_invocable_v<const Written&>) {
            value();
        } else {
            Separate();
            PutValue(value);
            m_separate = true;
        }
    }

    // Keys, each with its value after it.
    template <typename Written, typename... Further>
    void Pairs(std::string_view key, const Written& value, const Further&... further)
    {
        Key(key);
        Value(value);
        if constexpr (sizeof...(further) != 0) Pairs(further...);
    }

    // An object of these pairs.
    template <typename... Pair>
    void Object(const Pair&... pairs)
    {
        Open('{');
        Pairs(pairs...);
        Close('}');
    }

    // write(item) writes one value for each item.
    template <typename Items, typename Write>
    void Array(const Items& items, Write write)
    {
        Open('[');
        for (const auto& item : items) write(item);
        Close(']');
    }

    template <typename Items>
    void Array(const Items& items)
    {
        Array(items, [this](const auto& item) { this->Value(item); });
    }

 private:
    // Room for size more characters.
    char* Room(std::size_t size)
    {
        if (m_text.size() - m_end < size) Grow(size);
        return m_text.data() + m_end;
    }
    void Grow(std::size_t size);

    void Put(char c)
    {
        *Room(1) = c;
        ++m_end;
    }
    void Put(std::string_view text)
    {
        std::memcpy(Room(text.size()), text.data(), text.size());
        m_end += text.size();
    }
    void EndAt(const char* end) { m_end = static_cast<std::size_t>(end - m_text.data()); }

    void Separate()
    {
        if (m_separate) Put(',');
    }

    // Keys are texts of the program, without a character that needs an escape.
    void Key(std::string_view key)
    {
        Separate();
        char* out = Room(key.size() + 3);
        *out++ = '"';
        std::memcpy(out, key.data(), key.size());
        out += key.size();
        *out++ = '"';
        *out++ = ':';
        EndAt(out);
        m_separate = false;
    }

    void PutValue(std::nullptr_t) { Put("null"); }
    void PutValue(bool value) { Put(value ? std::string_view("true") : std::string_view("false")); }
    void PutValue(const char* text) { PutText(text); }
    void PutValue(const std::string& text) { PutText(text); }
    void PutValue(std::string_view text) { PutText(text); }
    void PutValue(float value) { PutValue(DoubleOf(value)); }
    void PutValue(double value);
    void PutValue(Figure figure);
    template <typename Integer, typename = std::enable_if_t<std::is_integral_v<Integer>>>
    void PutValue(Integer value)
    {
        constexpr std::size_t Most = 24;
        char* const out = Room(Most);
        EndAt(std::to_chars(out, out + Most, value).ptr);
    }
    void PutText(std::string_view text);
    static double DoubleOf(float value);

    std::string& m_text;
    std::size_t m_end;  // of what is written; text has room after it
    bool m_separate = false;
};

}  // namespace preview
