#pragma once

#include <chrono>
#include <string>

namespace TQ::App {

/// One line on standard error that shows how far a render is. Silent unless that is a terminal.
class ProgressLine {
  public:
    /// `enabled` false: never shown.
    ProgressLine(std::string title, int frames, bool enabled);
    /// Wipes the line away.
    ~ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    void Show(int finished);

  private:
    std::string _title;
    int _frames;
    bool _enabled;
    std::chrono::steady_clock::time_point _begin;
    std::chrono::steady_clock::time_point _lastShown;
};

/// The line itself, at most `columns` wide: title, bar, frames, frames per second, time left.
std::string ProgressText(const std::string& title, int finished, int frames, double seconds, int columns);

}  // namespace TQ::App
