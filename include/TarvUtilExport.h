#pragma once

// Marks the classes that libTarvUtil.so.1 exports; every other symbol of the library is hidden.
#if defined(__GNUC__)
#define TARVUTIL_EXPORT __attribute__((visibility("default")))
#else
#define TARVUTIL_EXPORT
#endif
