#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <exception>
#include <limits>
#include <new>
#include <string>
#include <string_view>

#include "tarvutil.h"

// What the functions of the C interface have in common: nothing is thrown across it, and what goes wrong is a code and a
// text that the handle keeps.
namespace capi {

// Ends a call with a code, and a text for the handle.
struct Error
{
    std::int32_t code;
    std::string text;
};

// Runs call, which returns the result of the function; what it throws becomes a code, its text goes to error.
template <typename Call>
std::int32_t Run(std::string& error, Call call) noexcept
{
    try {
        try {
            return call();
        } catch (const Error& failed) {
            error = failed.text;
            return failed.code;
        } catch (const std::bad_alloc&) {
            error = "out of memory";
            return TARVUTIL_NO_MEMORY;
        } catch (const std::exception& failed) {
            error = failed.what();
            return TARVUTIL_FAILED;
        }
    } catch (...) {
        return TARVUTIL_NO_MEMORY;  // not even the text could be kept
    }
}

// The same for a function of a handle.
template <typename Handle, typename Call>
std::int32_t On(Handle* handle, Call call) noexcept
{
    if (handle == nullptr) return TARVUTIL_NULL_HANDLE;
    return Run(handle->error, [&] { return call(*handle); });
}

template <typename T>
void Need(const T* buffer, const char* name)
{
    if (buffer == nullptr) throw Error{TARVUTIL_NULL_BUFFER, std::string(name) + " is null"};
}

inline void Check(bool holds, const char* text)
{
    if (!holds) throw Error{TARVUTIL_BAD_ARGUMENT, text};
}

// A text of the caller. name: of the argument.
inline std::string_view Text(const char* text, std::int32_t length, const char* name = "text")
{
    Need(text, name);
    if (length < -1) throw Error{TARVUTIL_BAD_TEXT, std::string(name) + ": its length is below -1"};
    if (length == -1) return text;
    const std::string_view whole(text, static_cast<std::size_t>(length));
    if (whole.find('\0') != std::string_view::npos)
        throw Error{TARVUTIL_BAD_TEXT, std::string(name) + ": it contains a NUL"};
    return whole;
}

inline std::int32_t Count(std::size_t count)
{
    if (count > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()))
        throw Error{TARVUTIL_FAILED, "the result has more elements than 32 bits can count"};
    return static_cast<std::int32_t>(count);
}

// Whether count elements may be written to a buffer. Throws for a null buffer and a negative capacity.
inline bool Fits(std::size_t count, const void* buffer, std::int32_t capacity)
{
    Check(capacity >= 0, "capacity: below 0");
    if (capacity > 0) Need(buffer, "the buffer");
    return count <= static_cast<std::size_t>(capacity);
}

inline std::int32_t Put(std::string_view text, char* buffer, std::int32_t capacity)
{
    if (Fits(text.size() + 1, buffer, capacity)) {
        if (!text.empty()) std::memcpy(buffer, text.data(), text.size());
        buffer[text.size()] = '\0';
    }
    return Count(text.size());
}

// For a function that returns the text of the last error, and has none of its own.
template <typename Handle>
std::int32_t PutError(const Handle* handle, char* buffer, std::int32_t capacity) noexcept
{
    if (handle == nullptr) return TARVUTIL_NULL_HANDLE;
    std::string error;
    return Run(error, [&] { return Put(handle->error, buffer, capacity); });
}

// Runs make, which returns a new handle; what it throws becomes the reason, cut to its capacity, and null.
template <typename Make>
auto New(char* reason, std::int32_t capacity, Make make) noexcept -> decltype(make())
{
    std::string error;
    decltype(make()) handle = nullptr;
    Run(error, [&] {
        handle = make();
        return TARVUTIL_OK;
    });
    if (reason != nullptr && capacity > 0) {
        const std::size_t size = std::min(error.size(), static_cast<std::size_t>(capacity) - 1);
        std::memcpy(reason, error.data(), size);
        reason[size] = '\0';
    }
    return handle;
}

}  // namespace capi
