#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "app/host/Effect.h"
#include "platform/Platform.h"

namespace TQ::App {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

/// The sentence that a load ends with; empty when it succeeds.
std::string LoadFault(const fs::path& path, const std::string& identifier = {}) {
    try {
        EffectPlugin::Load(path, {}, identifier);
        return {};
    } catch (const HostError& error) {
        return error.what();
    }
}

class PluginLoadTest : public testing::Test {
  protected:
    PluginLoadTest() {
        folder = fs::temp_directory_path() / ("app_host_test." + std::to_string(Platform::ProcessId()));
        fs::create_directories(folder);
    }
    ~PluginLoadTest() override { fs::remove_all(folder); }

    fs::path folder;
};

TEST_F(PluginLoadTest, FindsTheBinaryInABundle) {
    const fs::path bundle = folder / "Good.ofx.bundle";
    const fs::path inner = bundle / "Contents" / Platform::BundleArchitecture();
    fs::create_directories(inner);
    EXPECT_THAT(LoadFault(bundle), HasSubstr("no plug-in bundle for this system"));
    fs::copy_file(SL_PLUGIN_GOOD, inner / "Good.ofx");
    const auto plugin = EffectPlugin::Load(bundle / "");
    EXPECT_EQ(plugin->Identifier(), "test.good");
    EXPECT_EQ(plugin->BinaryPath(), inner / "Good.ofx");
}

TEST_F(PluginLoadTest, SaysWhatIsWrongWithAFile) {
    std::ofstream(folder / "text.ofx") << "not a library\n";
    EXPECT_THAT(LoadFault(folder / "absent.ofx.bundle"), HasSubstr("there is no plug-in at"));
    EXPECT_THAT(LoadFault(folder), HasSubstr("no plug-in bundle"));
    EXPECT_THAT(LoadFault(folder / "text.ofx"), HasSubstr("cannot be loaded"));
    EXPECT_THAT(LoadFault(SL_PLUGIN_EMPTY), HasSubstr("exports no OfxGetNumberOfPlugins"));
}

TEST_F(PluginLoadTest, SaysWhatIsWrongWithARecord) {
    EXPECT_THAT(LoadFault(SL_PLUGIN_FOREIGN), HasSubstr("AnotherPluginAPI"));
    EXPECT_THAT(LoadFault(SL_PLUGIN_FUTURE), HasSubstr("version 2"));
    EXPECT_THAT(LoadFault(SL_PLUGIN_ENTRYLESS), HasSubstr("no entry"));
    EXPECT_THAT(LoadFault(SL_PLUGIN_REFUSING), HasSubstr("needs something that this host does not have"));
    EXPECT_THAT(LoadFault(SL_PLUGIN_SILENT), HasSubstr("names no context"));
    EXPECT_THAT(LoadFault(SL_PLUGIN_GOOD, "test.other"), HasSubstr("no plug-in \"test.other\""));
}

TEST_F(PluginLoadTest, DescribesEffectAndParameters) {
    const auto plugin = EffectPlugin::Load(SL_PLUGIN_GOOD);
    EXPECT_EQ(plugin->Label(), "Good");
    EXPECT_EQ(plugin->Version(), "3.4");
    EXPECT_EQ(plugin->Contexts(), std::vector<std::string>{"filter"});
    EXPECT_TRUE(plugin->SupportsDepth(SampleDepth::Byte));
    EXPECT_FALSE(plugin->SupportsDepth(SampleDepth::Float));
    EXPECT_THROW(plugin->Describe("general"), HostError);

    const ContextDescription& filter = plugin->Describe("filter");
    EXPECT_EQ(&filter, &plugin->Describe("OfxImageEffectContextFilter"));
    ASSERT_EQ(filter.clips.size(), 2u);
    ASSERT_EQ(filter.parameters.size(), 11u);
    const ParameterDescription& amount = filter.parameters[1];
    EXPECT_EQ(amount.parent, "basics");
    EXPECT_EQ(amount.hint, "how much");
    EXPECT_EQ(amount.maximum, std::vector<double>{1});
    EXPECT_EQ(filter.parameters[3].options, (std::vector<std::string>{"Invert", "Copy", "Previous Frame"}));
    EXPECT_EQ(filter.parameters[6].defaults.size(), 3u);
    EXPECT_FALSE(filter.parameters[10].enabled);
}

}  // namespace
}  // namespace TQ::App
