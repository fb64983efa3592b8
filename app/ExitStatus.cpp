#include "app/ExitStatus.h"

#include <fmt/format.h>

#include <new>

#include "app/host/HostError.h"
#include "app/media/MediaError.h"

namespace TQ::App {

namespace {

constexpr struct {
    ExitStatus status;
    const char* meaning;
} meanings[] = {
    {ExitStatus::Done, "done"},
    {ExitStatus::Internal, "an error inside steadylux, or memory ran out"},
    {ExitStatus::Usage, "unknown command or option, or an option's value makes no sense"},
    {ExitStatus::Input, "the input is missing, empty, unreadable or has no video"},
    {ExitStatus::BrokenStream, "the input breaks or changes its size in the middle"},
    {ExitStatus::OutputExists, "the output exists and --overwrite was not given"},
    {ExitStatus::OutputUnwritable, "the output cannot be written"},
    {ExitStatus::DiskFull, "the disk is full"},
    {ExitStatus::Plugin, "the plug-in is missing, is none, or fails"},
    {ExitStatus::Parameter, "unknown preset or parameter, or a value that it does not take"},
    {ExitStatus::Codec, "unknown codec or file type, or one that cannot hold the pictures"},
    {ExitStatus::Interrupted, "stopped by Ctrl-C"},
};

ExitStatus StatusOf(MediaFailure failure) {
    switch (failure) {
        case MediaFailure::Input:
            return ExitStatus::Input;
        case MediaFailure::BrokenStream:
            return ExitStatus::BrokenStream;
        case MediaFailure::OutputExists:
            return ExitStatus::OutputExists;
        case MediaFailure::OutputUnwritable:
            return ExitStatus::OutputUnwritable;
        case MediaFailure::DiskFull:
            return ExitStatus::DiskFull;
        case MediaFailure::Codec:
            return ExitStatus::Codec;
        case MediaFailure::Interrupt:
            return ExitStatus::Interrupted;
    }
    return ExitStatus::Internal;
}

}  // namespace

ExitStatus StatusOf(const std::exception_ptr& failure, std::string& text) {
    try {
        std::rethrow_exception(failure);
    } catch (const CommandError& error) {
        text = error.what();
        return error.Status();
    } catch (const MediaError& error) {
        text = error.what();
        return StatusOf(error.Failure());
    } catch (const HostError& error) {
        text = error.what();
        return ExitStatus::Plugin;
    } catch (const RenderAborted& error) {
        text = error.what();
        return ExitStatus::Interrupted;
    } catch (const std::bad_alloc&) {
        text = "there is not enough memory";
        return ExitStatus::Internal;
    } catch (const std::exception& error) {
        text = error.what();
        return ExitStatus::Internal;
    } catch (...) {
        text = "unknown internal error";
        return ExitStatus::Internal;
    }
}

std::string ExitStatusTable() {
    std::string table = "Exit statuses:\n";
    for (const auto& row : meanings) {
        table += fmt::format("  {:>3}  {}\n", static_cast<int>(row.status), row.meaning);
    }
    return table;
}

}  // namespace TQ::App
