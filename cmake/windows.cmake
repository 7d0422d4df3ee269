# Cross-compiling for Windows with MinGW-w64: cmake -DCMAKE_TOOLCHAIN_FILE=cmake/windows.cmake. The variant with POSIX
# threads is the one whose C++ library is complete. Wine runs what the build itself has to run.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
find_program(CMAKE_CROSSCOMPILING_EMULATOR NAMES wine64 wine PATHS /usr/lib/wine)
