#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
// clang-format off
#include <windows.h>
#include <psapi.h>
#include <shellapi.h>
// clang-format on
// The system's headers turn this name into that of one of its own functions.
#undef ReplaceFile

#include <io.h>

#include <cstdio>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>

#include "platform/FolderList.h"
#include "platform/Platform.h"

namespace TQ::Platform {

namespace {

constexpr UINT interruptedStatus = 130;
// As on other systems, where one request often arrives as two.
constexpr ULONGLONG millisecondsToClearUp = 2000;
std::atomic<std::atomic<bool>*> interruptFlag{nullptr};

std::atomic<ULONGLONG> interruptedAt{0};

constexpr std::align_val_t blockAlignment{64};

BOOL WINAPI OnInterrupt(DWORD) {
    if (!interruptFlag.load()->exchange(true)) {
        interruptedAt = GetTickCount64();
    } else if (GetTickCount64() - interruptedAt >= millisecondsToClearUp) {
        ExitProcess(interruptedStatus);
    }
    return TRUE;
}

bool IsWebAddress(const std::string& address) {
    return address.rfind("https://", 0) == 0 || address.rfind("http://", 0) == 0;
}

std::wstring Widen(const std::string& text) {
    const int bytes = static_cast<int>(text.size());
    std::wstring wide(
        static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, nullptr, 0)), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, wide.data(), static_cast<int>(wide.size()));
    return wide;
}

std::string Narrow(const std::wstring& wide) {
    const int units = static_cast<int>(wide.size());
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, wide.data(), units, nullptr, 0, nullptr, nullptr);
    std::string text(static_cast<std::size_t>(bytes), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), units, text.data(), bytes, nullptr, nullptr);
    return text;
}

/// The system's sentence for an error number, without its line end.
std::string ErrorText(DWORD error) {
    wchar_t* text = nullptr;
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
        error, 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    std::string result = length ? Narrow(std::wstring(text, length)) : "error " + std::to_string(error);
    LocalFree(text);
    while (!result.empty() && (result.back() == '\n' || result.back() == '\r' || result.back() == ' ')) {
        result.pop_back();
    }
    return result;
}

HMODULE Load(const std::filesystem::path& path) {
    // The altered search lets a library find its neighbours, and is only defined for whole paths.
    return LoadLibraryExW(
        path.c_str(), nullptr,
        path.is_absolute() ? LOAD_WITH_ALTERED_SEARCH_PATH : LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
}

std::wstring Environment(const wchar_t* name) {
    const wchar_t* value = _wgetenv(name);
    return value ? value : L"";
}

}  // namespace

SharedLibrary::SharedLibrary(const std::filesystem::path& path) : _handle(Load(path)) {
    if (!_handle) {
        const DWORD error = GetLastError();
        throw std::runtime_error(Narrow(path.wstring()) + ": " + ErrorText(error));
    }
}

SharedLibrary::~SharedLibrary() {
    if (_handle) {
        FreeLibrary(static_cast<HMODULE>(_handle));
    }
}

void* SharedLibrary::Symbol(const char* name) const {
    return _handle ? reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(_handle), name)) : nullptr;
}

std::filesystem::path ExecutablePath() {
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
        if (length == 0) {
            throw std::runtime_error("The running program's own file is unknown: " +
                                     ErrorText(GetLastError()));
        }
        if (length < path.size()) {
            path.resize(length);
            return path;
        }
        path.resize(path.size() * 2);
    }
}

const char* BundleArchitecture() {
    return "Win64";
}

std::vector<std::filesystem::path> PluginFolders() {
    std::vector<std::filesystem::path> folders = SplitFolderList(Environment(L"OFX_PLUGIN_PATH"), L';');
    const std::wstring common = Environment(L"CommonProgramFiles");
    folders.push_back(std::filesystem::path(common.empty() ? L"C:\\Program Files\\Common Files" : common) /
                      "OFX" / "Plugins");
    return folders;
}

void ReplaceFile(const std::filesystem::path& from, const std::filesystem::path& to) {
    if (!MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        throw std::filesystem::filesystem_error(
            "rename", from, to, std::error_code(static_cast<int>(GetLastError()), std::system_category()));
    }
}

std::uint64_t ProcessId() {
    return GetCurrentProcessId();
}

bool IsTerminal(Stream stream) {
    return _isatty(_fileno(stream == Stream::Output ? stdout : stderr)) != 0;
}

int TerminalColumns() {
    constexpr int usual = 80;
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_ERROR_HANDLE), &info)) {
        return usual;
    }
    return info.srWindow.Right - info.srWindow.Left + 1;
}

std::uint64_t PhysicalMemoryBytes() {
    MEMORYSTATUSEX status{};
    status.dwLength = sizeof(status);
    return GlobalMemoryStatusEx(&status) ? status.ullTotalPhys : 0;
}

int HardwareThreadCount() {
    DWORD_PTR allowed = 0;
    DWORD_PTR all = 0;
    int count = 0;
    if (GetProcessAffinityMask(GetCurrentProcess(), &allowed, &all)) {
        for (; allowed != 0; allowed &= allowed - 1) {
            ++count;
        }
    }
    return count > 0 ? count : 1;
}

std::uint64_t PeakMemoryBytes() {
    PROCESS_MEMORY_COUNTERS counters{};
    counters.cb = sizeof(counters);
    K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters));
    return counters.PeakWorkingSetSize;
}

void ReturnFreedMemory() {
    // This system's heap gives large blocks back by itself.
}

void* NewBlock(std::size_t bytes) {
    // Large pages are only for processes that may lock memory.
    return ::operator new(bytes, blockAlignment, std::nothrow);
}

void DeleteBlock(void* block, std::size_t /*bytes*/) {
    ::operator delete(block, blockAlignment);
}

void SetInterruptFlag(std::atomic<bool>& flag) {
    interruptFlag = &flag;
    SetConsoleCtrlHandler(OnInterrupt, TRUE);
}

bool OpenWebPage(const std::string& address) {
    if (!IsWebAddress(address)) {
        return false;
    }
    // Values above 32 mean success.
    constexpr INT_PTR highestError = 32;
    const HINSTANCE answer =
        ShellExecuteW(nullptr, L"open", Widen(address).c_str(), nullptr, nullptr, SW_SHOWNORMAL);
    return reinterpret_cast<INT_PTR>(answer) > highestError;
}

}  // namespace TQ::Platform
