#define WIN32_LEAN_AND_MEAN
#define NOMINMAX
#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cwchar>
#include <iterator>

#include "System.h"

namespace {

std::wstring Wide(std::string_view text)
{
    const int size = static_cast<int>(text.size());
    const int length = MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), length);
    return wide;
}

std::string Utf8(std::wstring_view wide)
{
    const int size = static_cast<int>(wide.size());
    const int length = WideCharToMultiByte(CP_UTF8, 0, wide.data(), size, nullptr, 0, nullptr, nullptr);
    std::string text(static_cast<std::size_t>(length), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), size, text.data(), length, nullptr, nullptr);
    return text;
}

int ErrnoOfLastError()
{
    switch (GetLastError()) {
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
        case ERROR_INVALID_NAME:
            return ENOENT;
        case ERROR_ACCESS_DENIED:
        case ERROR_SHARING_VIOLATION:
        case ERROR_WRITE_PROTECT:
            return EACCES;
        case ERROR_FILE_EXISTS:
        case ERROR_ALREADY_EXISTS:
            return EEXIST;
        case ERROR_DISK_FULL:
            return ENOSPC;
        default:
            return EIO;
    }
}

bool IsDirectory(const std::wstring& path)
{
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// A descriptor that owns the handle; -1, with errno, for an invalid one.
int DescriptorOf(HANDLE handle, int flags)
{
    if (handle != INVALID_HANDLE_VALUE)
        return _open_osfhandle(reinterpret_cast<std::intptr_t>(handle), flags);
    errno = ErrnoOfLastError();
    return -1;
}

int Refuse(int error)
{
    errno = error;
    return -1;
}

// After a write that failed. One to a pipe fails because its reader has gone, for which the system has several errors;
// Wine has more.
bool ReaderHasGone(int file)
{
    return GetFileType(reinterpret_cast<HANDLE>(_get_osfhandle(file))) == FILE_TYPE_PIPE;
}

}  // namespace

std::vector<std::string> StartProgram(int argc, char** argv)
{
    for (const int file : {StandardInput, StandardOutput, StandardError}) _setmode(file, _O_BINARY);
    SetConsoleOutputCP(CP_UTF8);
    // The arguments of main are in the code page of the system.
    int count = 0;
    wchar_t** const wide = CommandLineToArgvW(GetCommandLineW(), &count);
    if (wide == nullptr) return {argc > 0 ? argv + 1 : argv, argv + argc};
    std::vector<std::string> arguments;
    if (count > 0) std::transform(wide + 1, wide + count, std::back_inserter(arguments), Utf8);
    LocalFree(wide);
    return arguments;
}

bool IsTerminal(int file)
{
    // _isatty is true of every device, of NUL too.
    DWORD mode = 0;
    return GetConsoleMode(reinterpret_cast<HANDLE>(_get_osfhandle(file)), &mode) != 0;
}

bool IsSameStream(int a, int b)
{
    return IsTerminal(a) && IsTerminal(b);
}

bool IsFile(const std::string& /*path*/, int /*file*/)
{
    return false;
}

bool CloseFile(int file)
{
    return _close(file) == 0;
}

int OpenToRead(const std::string& path)
{
    const std::wstring name = Wide(path);
    if (IsDirectory(name)) return Refuse(EISDIR);
    return _wopen(name.c_str(), _O_RDONLY | _O_BINARY | _O_NOINHERIT);
}

std::ptrdiff_t ReadSome(int file, char* buffer, std::size_t size)
{
    constexpr std::size_t MaxRead = 1U << 20U;  // the system counts in int
    const int count = _read(file, buffer, static_cast<unsigned int>(std::min(size, MaxRead)));
    return count < 0 && errno == EPIPE ? 0 : count;  // the writer has gone: the end
}

bool MayWait(int file)
{
    return GetFileType(reinterpret_cast<HANDLE>(_get_osfhandle(file))) != FILE_TYPE_DISK;
}

bool WriteAll(int file, std::string_view text)
{
    constexpr std::size_t MaxWrite = 1U << 15U;  // a console refuses much more at once
    while (!text.empty()) {
        const int count =
            _write(file, text.data(), static_cast<unsigned int>(std::min(text.size(), MaxWrite)));
        if (count < 0) {
            if (ReaderHasGone(file)) errno = EPIPE;
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

std::string Resolved(const std::string& path)
{
    HANDLE file = CreateFileW(Wide(path).c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                              nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (file == INVALID_HANDLE_VALUE) return path;
    const DWORD size =
        GetFileType(file) == FILE_TYPE_DISK ? GetFinalPathNameByHandleW(file, nullptr, 0, 0) : 0;
    std::wstring name(size, L'\0');
    const DWORD length = size == 0 ? 0 : GetFinalPathNameByHandleW(file, name.data(), size, 0);
    CloseHandle(file);
    if (length == 0 || length >= size) return path;
    name.resize(length);
    if (name.compare(0, 4, LR"(\\?\)") == 0 && name.compare(4, 4, L"UNC\\") != 0) name.erase(0, 4);
    return Utf8(name);
}

namespace {

// For the handler of the end of the console, which runs in a thread of its own.
wchar_t removedAtEnd[4096];

BOOL WINAPI RemoveAndEnd(DWORD /*event*/)
{
    if (removedAtEnd[0] != L'\0') DeleteFileW(removedAtEnd);
    return FALSE;  // ends the program, as without this handler
}

void RemoveAtEnd(const std::wstring& path)
{
    SetConsoleCtrlHandler(RemoveAndEnd, FALSE);
    removedAtEnd[0] = L'\0';
    if (path.empty() || path.size() >= std::size(removedAtEnd)) return;
    std::wmemcpy(removedAtEnd, path.c_str(), path.size() + 1);
    SetConsoleCtrlHandler(RemoveAndEnd, TRUE);
}

// A new file beside path. Others may remove it while it is open: the handler does.
HANDLE CreateBeside(const std::wstring& path, std::wstring& name)
{
    constexpr unsigned int Attempts = 100;
    for (unsigned int i = 0; i < Attempts; ++i) {
        name = path + L"." + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(i);
        HANDLE file = CreateFileW(name.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                                  CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (file != INVALID_HANDLE_VALUE || ErrnoOfLastError() != EEXIST) return file;
    }
    return INVALID_HANDLE_VALUE;
}

}  // namespace

int OpenToWrite(const std::string& path, std::string& temporary)
{
    const std::wstring wide = Wide(path);
    if (IsDirectory(wide)) return Refuse(EISDIR);
    HANDLE present =
        CreateFileW(wide.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, 0, nullptr);
    if (present == INVALID_HANDLE_VALUE && GetLastError() != ERROR_FILE_NOT_FOUND)
        return Refuse(ErrnoOfLastError());
    if (present != INVALID_HANDLE_VALUE) {
        if (GetFileType(present) != FILE_TYPE_DISK) return DescriptorOf(present, _O_WRONLY | _O_BINARY);
        CloseHandle(present);
    }
    std::wstring name;
    const int file = DescriptorOf(CreateBeside(wide, name), _O_WRONLY | _O_BINARY);
    if (file < 0) return -1;
    RemoveAtEnd(name);
    temporary = Utf8(name);
    return file;
}

bool Rename(const std::string& temporary, const std::string& path)
{
    if (MoveFileExW(Wide(temporary).c_str(), Wide(path).c_str(), MOVEFILE_REPLACE_EXISTING) == 0) {
        errno = ErrnoOfLastError();
        return false;
    }
    RemoveAtEnd({});
    return true;
}

void Remove(const std::string& temporary)
{
    DeleteFileW(Wide(temporary).c_str());
    RemoveAtEnd({});
}

namespace {

// A pipe of which the child gets one end.
struct Pipe
{
    // ours: false for the end to read, true for the end to write.
    bool Open(bool oursWrites)
    {
        SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
        HANDLE readEnd = nullptr;
        HANDLE writeEnd = nullptr;
        if (CreatePipe(&readEnd, &writeEnd, &inherited, 0) == 0) return false;
        childs = oursWrites ? readEnd : writeEnd;
        HANDLE kept = oursWrites ? writeEnd : readEnd;
        SetHandleInformation(kept, HANDLE_FLAG_INHERIT, 0);
        ours = DescriptorOf(kept, _O_BINARY);
        return ours >= 0;
    }
    void CloseOurs()
    {
        if (ours >= 0) _close(ours);
        ours = -1;
    }
    void CloseChilds()
    {
        if (childs != nullptr) CloseHandle(childs);
        childs = nullptr;
    }

    int ours = -1;
    HANDLE childs = nullptr;
};

// The process, or null.
HANDLE Start(const std::string& program, const Pipe& input, const Pipe& output)
{
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = input.childs;
    startup.hStdOutput = output.childs;
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION process{};
    std::wstring command = Wide(program);
    if (CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                       &process) == 0) {
        errno = ErrnoOfLastError();
        return nullptr;
    }
    CloseHandle(process.hThread);
    return process.hProcess;
}

bool EndedWell(HANDLE process)
{
    WaitForSingleObject(process, INFINITE);
    DWORD status = 1;
    GetExitCodeProcess(process, &status);
    CloseHandle(process);
    return status == 0;
}

}  // namespace

Ended RunFilter(const std::string& program, std::string_view input, std::string& output)
{
    Pipe toChild;
    Pipe fromChild;
    HANDLE process =
        toChild.Open(true) && fromChild.Open(false) ? Start(program, toChild, fromChild) : nullptr;
    const int error = errno;
    toChild.CloseChilds();
    fromChild.CloseChilds();
    if (process != nullptr) {
        WriteAll(toChild.ours, input);
        toChild.CloseOurs();
        char block[16384];
        for (std::ptrdiff_t count = 0; (count = ReadSome(fromChild.ours, block, sizeof block)) > 0;)
            output.append(block, static_cast<std::size_t>(count));
    }
    toChild.CloseOurs();
    fromChild.CloseOurs();
    errno = error;
    if (process == nullptr) return Ended::NotStarted;
    return EndedWell(process) ? Ended::Well : Ended::Badly;
}
