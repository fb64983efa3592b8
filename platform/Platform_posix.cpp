#include <dlfcn.h>
#include <malloc.h>
#include <sched.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <new>
#include <stdexcept>
#include <string>

#include "platform/FolderList.h"
#include "platform/Platform.h"

extern "C" char** environ;

namespace TQ::Platform {

namespace {

constexpr int interruptedStatus = 130;
// One request often arrives as two signals: to the process, and to its group.
constexpr std::time_t secondsToClearUp = 2;
std::atomic<std::atomic<bool>*> interruptFlag{nullptr};
static_assert(std::atomic<bool>::is_always_lock_free &&
              std::atomic<std::atomic<bool>*>::is_always_lock_free &&
              std::atomic<std::time_t>::is_always_lock_free);

std::atomic<std::time_t> interruptedAt{0};

constexpr std::size_t lineBytes = 64;
constexpr std::size_t largePageBytes = std::size_t{2} << 20;
constexpr std::size_t leastInLargePages = std::size_t{1} << 20;
// Within their pages blocks start at different places, an odd number of lines from each other: if all started
// with a page, the same rows of all pictures would fall into the same sets of the processor's caches.
constexpr std::size_t blockStarts = 32;
constexpr std::size_t blockStagger = 61 * lineBytes;

std::time_t SecondsNow() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec;
}

extern "C" void OnInterrupt(int) {
    if (!interruptFlag.load()->exchange(true)) {
        interruptedAt = SecondsNow();
    } else if (SecondsNow() - interruptedAt >= secondsToClearUp) {
        _exit(interruptedStatus);
    }
}

/// Addresses go to a command, so nothing that the command could take for an option or a file is let through.
bool IsWebAddress(const std::string& address) {
    return address.rfind("https://", 0) == 0 || address.rfind("http://", 0) == 0;
}

}  // namespace

SharedLibrary::SharedLibrary(const std::filesystem::path& path)
    : _handle(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (!_handle) {
        const char* reason = dlerror();
        throw std::runtime_error(reason ? reason : "The library " + path.string() + " could not be loaded.");
    }
}

SharedLibrary::~SharedLibrary() {
    if (_handle) {
        dlclose(_handle);
    }
}

void* SharedLibrary::Symbol(const char* name) const {
    return _handle ? dlsym(_handle, name) : nullptr;
}

std::filesystem::path ExecutablePath() {
    std::error_code error;
    std::filesystem::path path = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) {
        throw std::runtime_error("The running program's own file is unknown: " + error.message());
    }
    return path;
}

const char* BundleArchitecture() {
    return "Linux-x86-64";
}

std::vector<std::filesystem::path> PluginFolders() {
    const char* list = std::getenv("OFX_PLUGIN_PATH");
    std::vector<std::filesystem::path> folders = SplitFolderList(list ? list : "", ':');
    folders.emplace_back("/usr/OFX/Plugins");
    return folders;
}

void ReplaceFile(const std::filesystem::path& from, const std::filesystem::path& to) {
    std::filesystem::rename(from, to);
}

std::uint64_t ProcessId() {
    return static_cast<std::uint64_t>(getpid());
}

bool IsTerminal(Stream stream) {
    return isatty(stream == Stream::Output ? STDOUT_FILENO : STDERR_FILENO) == 1;
}

int TerminalColumns() {
    constexpr int usual = 80;
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : usual;
}

int HardwareThreadCount() {
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    if (sched_getaffinity(0, sizeof(allowed), &allowed) == 0 && CPU_COUNT(&allowed) > 0) {
        return CPU_COUNT(&allowed);
    }
    // A machine with more processors than the fixed set can name.
    const long online = sysconf(_SC_NPROCESSORS_ONLN);
    return online > 0 ? static_cast<int>(online) : 1;
}

std::uint64_t PhysicalMemoryBytes() {
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long pageBytes = sysconf(_SC_PAGESIZE);
    return pages > 0 && pageBytes > 0
               ? static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageBytes)
               : 0;
}

std::uint64_t PeakMemoryBytes() {
    constexpr std::uint64_t kibibyte = 1024;
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<std::uint64_t>(usage.ru_maxrss) * kibibyte;
}

void ReturnFreedMemory() {
#ifdef __GLIBC__
    // The threshold otherwise grows up to 32 MB with the blocks that are freed.
    constexpr int threshold = 1 << 20;
    mallopt(M_MMAP_THRESHOLD, threshold);
#endif
}

void* NewBlock(std::size_t bytes) {
    if (bytes < leastInLargePages) {
        return ::operator new(bytes, std::align_val_t(lineBytes), std::nothrow);
    }
    static std::atomic<std::size_t> count = 0;
    const std::size_t start = count++ % blockStarts * blockStagger;
    const std::size_t end = start + bytes;
    // Of the last page less than half may be given away.
    const std::size_t inLargePages = (end + largePageBytes / 2) / largePageBytes * largePageBytes;
    void* const pages =
        ::operator new(std::max(end, inLargePages), std::align_val_t(largePageBytes), std::nothrow);
    if (pages == nullptr) {
        return nullptr;
    }
    madvise(pages, inLargePages, MADV_HUGEPAGE);  // a wish: what the system does not lend stays as it was
    return static_cast<std::byte*>(pages) + start;
}

void DeleteBlock(void* block, std::size_t bytes) {
    if (bytes < leastInLargePages) {
        ::operator delete(block, std::align_val_t(lineBytes));
        return;
    }
    const std::size_t start = reinterpret_cast<std::uintptr_t>(block) % largePageBytes;
    ::operator delete(static_cast<std::byte*>(block) - start, std::align_val_t(largePageBytes));
}

void SetInterruptFlag(std::atomic<bool>& flag) {
    interruptFlag = &flag;
    struct sigaction action {};
    action.sa_handler = OnInterrupt;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool OpenWebPage(const std::string& address) {
    if (!IsWebAddress(address)) {
        return false;
    }
    // The shell leaves the browser behind as an orphan, so that this process has no child to wait for later.
    char shell[] = "sh";
    char option[] = "-c";
    char script[] = "command -v xdg-open >/dev/null || exit 1; xdg-open \"$1\" >/dev/null 2>&1 </dev/null &";
    std::string page = address;
    char* arguments[] = {shell, option, script, shell, page.data(), nullptr};
    pid_t child = 0;
    if (posix_spawn(&child, "/bin/sh", nullptr, nullptr, arguments, environ) != 0) {
        return false;
    }
    int status = 0;
    pid_t waited = -1;
    do {
        waited = waitpid(child, &status, 0);
    } while (waited == -1 && errno == EINTR);
    // A host that ignores its children's ends takes the status away; the start itself went well then.
    return waited == -1 || (WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

}  // namespace TQ::Platform
