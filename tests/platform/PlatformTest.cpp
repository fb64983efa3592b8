#include "platform/Platform.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <utility>

#include "platform/FolderList.h"

namespace {

using namespace TQ::Platform;
using testing::ElementsAre;
using testing::HasSubstr;
namespace fs = std::filesystem;

fs::path ScratchFile(const std::string& name) {
    return fs::path(testing::TempDir()) / ("steadylux-" + std::to_string(ProcessId()) + "-" + name);
}

void Write(const fs::path& path, const std::string& text) {
    std::ofstream(path) << text;
}

std::string Read(const fs::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(SharedLibrary, FailureNamesTheFileAndTheReason) {
    const fs::path path = ScratchFile("not-a-library.so");
    Write(path, "plain text");
    for (const fs::path& broken : {path, fs::path("/nowhere/at-all.so")}) {
        try {
            SharedLibrary library(broken);
            FAIL() << broken << " was loaded";
        } catch (const std::runtime_error& error) {
            EXPECT_THAT(error.what(), HasSubstr(broken.filename().string()));
            EXPECT_GT(std::string(error.what()).size(), broken.string().size());
        }
    }
    fs::remove(path);
}

TEST(ReplaceFile, PutsTheNewFileOverTheOldOne) {
    const fs::path from = ScratchFile("new");
    const fs::path to = ScratchFile("old");
    Write(from, "new");
    Write(to, "old and longer");
    ReplaceFile(from, to);
    EXPECT_EQ(Read(to), "new");
    EXPECT_FALSE(fs::exists(from));
    EXPECT_THROW(ReplaceFile(from, to), fs::filesystem_error);
    EXPECT_EQ(Read(to), "new") << "a failed replacement leaves the old file";
    fs::remove(to);
}

TEST(Folders, EnvironmentComesBeforeTheStandardFolder) {
    setenv("OFX_PLUGIN_PATH", "/second/first::/first/second:", 1);
    EXPECT_THAT(PluginFolders(), ElementsAre(fs::path("/second/first"), fs::path("/first/second"),
                                             fs::path("/usr/OFX/Plugins")));
    unsetenv("OFX_PLUGIN_PATH");
    EXPECT_THAT(PluginFolders(), ElementsAre(fs::path("/usr/OFX/Plugins")));
    EXPECT_THAT(SplitFolderList(fs::path(";;").native(), ';'), ElementsAre());
}

TEST(Process, OpensNothingButWebPages) {
    EXPECT_FALSE(OpenWebPage("--help"));
    EXPECT_FALSE(OpenWebPage("file:///etc/passwd"));
}

TEST(InterruptDeathTest, FirstSignalSetsTheFlagAndALaterOneEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto interrupt = [] {
        static std::atomic<bool> flag{false};
        SetInterruptFlag(flag);
        std::raise(SIGINT);
        std::raise(SIGTERM);  // the same request once more
        if (!flag) {
            std::_Exit(1);
        }
        std::fputs("flag is set\n", stderr);
        std::this_thread::sleep_for(std::chrono::milliseconds(3100));  // whole seconds are counted
        std::raise(SIGINT);
        std::_Exit(2);
    };
    EXPECT_EXIT(interrupt(), testing::ExitedWithCode(130), "flag is set");
}

}  // namespace
