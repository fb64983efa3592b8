#include "app/ProgressLine.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

#include "platform/Platform.h"

namespace TQ::App {

namespace {

constexpr auto showInterval = std::chrono::milliseconds(100);
constexpr int widestBar = 40;

std::string TimeText(double seconds) {
    const long whole = static_cast<long>(seconds + 0.5);
    return whole >= 3600 ? fmt::format("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60)
                         : fmt::format("{}:{:02}", whole / 60, whole % 60);
}

}  // namespace

std::string ProgressText(const std::string& title, int finished, int frames, double seconds, int columns) {
    const double rate = seconds > 0 ? finished / seconds : 0;
    std::string numbers = fmt::format(" {}/{} frames", finished, frames);
    if (rate > 0) {
        numbers += fmt::format("  {:.1f} fps  {} left", rate, TimeText((frames - finished) / rate));
    }
    const int room = columns - 4 - static_cast<int>(title.size() + numbers.size());
    std::string line = title + numbers;
    if (room >= 5) {
        const int width = std::min(room, widestBar);
        const int filled = frames > 0 ? static_cast<int>(static_cast<double>(width) * finished / frames) : 0;
        line = title + " [" + std::string(static_cast<std::size_t>(filled), '#') +
               std::string(static_cast<std::size_t>(width - filled), '.') + "]" + numbers;
    }
    return line.substr(0, static_cast<std::size_t>(std::max(1, columns - 1)));
}

ProgressLine::ProgressLine(std::string title, int frames, bool enabled)
    : _title(std::move(title)),
      _frames(frames),
      _enabled(enabled && Platform::IsTerminal(Platform::Stream::Error)),
      _begin(std::chrono::steady_clock::now()),
      _lastShown(_begin - showInterval) {
}

ProgressLine::~ProgressLine() {
    if (_enabled) {
        fmt::print(stderr, "\r{:{}}\r", "", std::max(1, Platform::TerminalColumns() - 1));
        std::fflush(stderr);
    }
}

void ProgressLine::Show(int finished) {
    const auto now = std::chrono::steady_clock::now();
    if (!_enabled || now - _lastShown < showInterval) {
        return;
    }
    _lastShown = now;
    const int columns = Platform::TerminalColumns();
    const double seconds = std::chrono::duration<double>(now - _begin).count();
    fmt::print(stderr, "\r{:{}}", ProgressText(_title, finished, _frames, seconds, columns),
               std::max(1, columns - 1));
    std::fflush(stderr);
}

}  // namespace TQ::App
