#pragma once

// TARVUTIL_ASSERT(condition) states a condition that is true on any input of a host. A build with TARVUTIL_ASSERTS, as
// the tests use it, aborts where it is false; every other build leaves the condition out.
#ifdef TARVUTIL_ASSERTS

#include <cstdio>
#include <cstdlib>

namespace TarvUtil::Internal {

[[noreturn]] inline void AssertFailed(const char* condition, const char* file, int line)
{
    std::fprintf(stderr, "%s:%d: not true: %s\n", file, line, condition);
    std::abort();
}

}  // namespace TarvUtil::Internal

// A function could not name the condition and its place. NOLINTNEXTLINE(cppcoreguidelines-macro-usage)
#define TARVUTIL_ASSERT(condition) \
    ((condition) ? static_cast<void>(0) : TarvUtil::Internal::AssertFailed(#condition, __FILE__, __LINE__))

#else

#define TARVUTIL_ASSERT(condition) static_cast<void>(0)  // NOLINT(cppcoreguidelines-macro-usage): likewise

#endif
