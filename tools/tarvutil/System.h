#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// The calls of the operating system that the program needs, in SystemPosix.cpp and SystemWindows.cpp. On both, file names
// and arguments are UTF-8, and files are binary. After a failure, errno has the reason.

constexpr int StandardInput = 0;
constexpr int StandardOutput = 1;
constexpr int StandardError = 2;

// Call first in main: the arguments without the name of the program. From then on a write to a closed pipe fails with
// EPIPE.
std::vector<std::string> StartProgram(int argc, char** argv);

bool IsTerminal(int file);
// Both are the same terminal, pipe or device. Not so for a file on disk: two that are open on it have each a place of
// their own in it.
bool IsSameStream(int a, int b);
// path would open the same file as the one that is open. Always false on Windows, where no file has such a name.
bool IsFile(const std::string& path, int file);
bool CloseFile(int file);

// A file to read, or -1.
int OpenToRead(const std::string& path);
// The number of bytes that were read, 0 at the end, -1 for a failure.
std::ptrdiff_t ReadSome(int file, char* buffer, std::size_t size);
// Reading may have to wait for what another program, or a user, has not written yet. Never so for a file on disk.
bool MayWait(int file);
// Writes all of text.
bool WriteAll(int file, std::string_view text);

// The target of a link, so that the file is replaced and not the link; path itself if nothing has that name.
std::string Resolved(const std::string& path);
// A file to write, or -1. A device or a pipe is opened as it is, and temporary stays empty. Else it is a new file beside
// path, with the rights of the one that it will replace; its name goes to temporary. It is removed when a signal ends the
// program before Rename or Remove; there may be one such file at a time.
int OpenToWrite(const std::string& path, std::string& temporary);
bool Rename(const std::string& temporary, const std::string& path);
void Remove(const std::string& temporary);

// How a program that was run has ended; NotStarted has its reason in errno, which is ENOENT for one that is missing.
enum class Ended
{
    Well,
    Badly,
    NotStarted,
};

// Runs a program from the PATH, without arguments and in a locale of UTF-8, with input on its standard input; its standard
// output is appended to output. REQUIRES: it prints after it has read everything.
Ended RunFilter(const std::string& program, std::string_view input, std::string& output);
