#pragma once

// Marks the classes that the shared library exports; every other symbol of it is hidden. On Windows a host imports them
// from TarvUtil.dll. Where the sources of the library are compiled, TARVUTIL_BUILDING is defined; the project does that.
#if defined(_WIN32)
#if defined(TARVUTIL_BUILDING)
#define TARVUTIL_EXPORT __declspec(dllexport)
#else
#define TARVUTIL_EXPORT __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define TARVUTIL_EXPORT __attribute__((visibility("default")))
#else
#define TARVUTIL_EXPORT
#endif
