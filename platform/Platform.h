#pragma once

// The one seam to the operating system. Each function has a posix and a windows body of equal shape in
// Platform_posix.cpp and Platform_windows.cpp; no other folder asks which system it runs on.

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace TQ::Platform {

/// A shared library loaded at run time; unloaded when the object goes.
class SharedLibrary {
  public:
    SharedLibrary() = default;
    /// Throws std::runtime_error with the system's own explanation.
    explicit SharedLibrary(const std::filesystem::path& path);
    ~SharedLibrary();
    SharedLibrary(SharedLibrary&& other) noexcept;
    SharedLibrary& operator=(SharedLibrary&& other) noexcept;
    SharedLibrary(const SharedLibrary&) = delete;
    SharedLibrary& operator=(const SharedLibrary&) = delete;

    /// Address of an exported symbol, null when there is none.
    void* Symbol(const char* name) const;
    explicit operator bool() const { return _handle != nullptr; }

  private:
    void* _handle = nullptr;
};

/// The running program's own file. Throws std::runtime_error when the system does not tell.
std::filesystem::path ExecutablePath();
/// Where an OpenFX bundle keeps the binary for this system below Contents: "Linux-x86-64" or "Win64".
const char* BundleArchitecture();
/// Folders that the OpenFX standard names for installed bundles on this system, OFX_PLUGIN_PATH entries
/// first.
std::vector<std::filesystem::path> PluginFolders();

/// Moves `from` over `to` in one step (same file system); throws std::filesystem::filesystem_error.
void ReplaceFile(const std::filesystem::path& from, const std::filesystem::path& to);
/// Number of this process, for names of temporary files.
std::uint64_t ProcessId();

enum class Stream { Output, Error };
bool IsTerminal(Stream stream);
/// Columns of the terminal behind standard error; 80 when there is none.
int TerminalColumns();

/// Processors that this process may use, at least 1.
int HardwareThreadCount();
/// The machine's memory in bytes; 0 when it does not say.
std::uint64_t PhysicalMemoryBytes();
/// The largest resident set of this process so far, in bytes.
std::uint64_t PeakMemoryBytes();

/// Makes the memory manager give large blocks back to the system as soon as they are freed, instead of
/// keeping them in pieces of different sizes. For programs that handle pictures; call it before threads
/// start.
void ReturnFreedMemory();

/// Memory for a picture or for sums, aligned to 64 bytes; null when there is none left. From a megabyte on
/// most of it lies in large pages where the system lends them, so that walks down many rows at once seldom
/// wait for the addresses of pages.
void* NewBlock(std::size_t bytes);
/// `bytes` as they were asked for.
void DeleteBlock(void* block, std::size_t bytes);

/// From now on Ctrl-C (and a polite request to end) sets `flag`; one that comes two seconds later or more
/// ends the process at once with status 130. `flag` lives for the rest of the process.
void SetInterruptFlag(std::atomic<bool>& flag);

/// Shows a web page in the user's browser; false when that cannot be done.
bool OpenWebPage(const std::string& address);

}  // namespace TQ::Platform
