#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <exception>
#include <string>
#include <vector>

#include "app/DemoCommand.h"
#include "app/ExitStatus.h"
#include "app/InformationCommands.h"
#include "app/RenderCommand.h"
#include "app/host/HostProfile.h"
#include "platform/Platform.h"

namespace {

using namespace TQ::App;

std::atomic<bool> interrupted{false};

constexpr const char* renderHelp =
    R"(INPUT is a video file, an image, an image sequence (name.%04d.png or name.####.exr) or a folder with one.
OUTPUT is a video file (.mp4, .mov, .mkv, ...) or an image sequence by its pattern; files of a sequence keep
the numbers of the source. Bit depth, colour tags, frame rate, time stamps, pixel shape and rotation of the
source are kept, audio streams are copied.

)";

void AddPlugin(CLI::App& command, std::filesystem::path& plugin) {
    command
        .add_option("--plugin", plugin,
                    "The OpenFX bundle or binary (default: SteadyLux, beside this program "
                    "or installed)")
        ->type_name("PATH");
}

void AddHost(CLI::App& command, std::string& host) {
    std::vector<std::string> keys;
    for (const KnownHost& known : KnownHosts()) {
        keys.emplace_back(known.key);
    }
    command
        .add_option("--host", host,
                    "Pretends to be another application, with its departures from the standard")
        ->type_name("NAME")
        ->check(CLI::IsMember(keys));
}

void AddRender(CLI::App& app, RenderOptions& options) {
    CLI::App* command = app.add_subcommand("render", "Removes flicker from a clip.");
    command->footer(renderHelp + ExitStatusTable());
    command->add_option("INPUT", options.input, "What to read")->required()->type_name("");
    command->add_option("OUTPUT", options.output, "What to write")->required()->type_name("");
    command
        ->add_option("--preset", options.preset,
                     "Preset by name or by number; see 'steadylux presets' (of two "
                     "with one name, the name means the first)")
        ->type_name("NAME|NUMBER");
    command
        ->add_option("--set", options.assignments,
                     "Sets a parameter after the preset, as a hand would; may be "
                     "given again; see 'steadylux describe'")
        ->type_name("name=value")
        ->allow_extra_args(false);
    command
        ->add_option("--frames", options.frames,
                     "Renders frames A to B only, counted from 0; frames around them "
                     "still take part")
        ->type_name("A-B");
    command
        ->add_option("--fps", options.framesPerSecond,
                     "Frames per second of an image sequence, such as 24 or 24000/1001 (default 25)")
        ->type_name("RATE");
    command->add_option("--scale", options.scale, "Render scale, above 0 up to 1 (default 1)")
        ->type_name("S")
        ->check(CLI::Range(0.001, 1.0));
    command
        ->add_option("--depth", options.depth, "Depth that the effect works in (default auto: the source's)")
        ->type_name("auto|8|16|float")
        ->check(CLI::IsMember({"auto", "8", "16", "float"}));
    command->add_option("--context", options.context, "OpenFX context (default filter)")
        ->type_name("filter|general")
        ->check(CLI::IsMember({"filter", "general"}));
    command
        ->add_option("--threads", options.threads,
                     "Threads that the effect may use (default: as many as the "
                     "machine has)")
        ->type_name("N")
        ->check(CLI::Range(1, 1024));
    command->add_option("--jobs", options.jobs, "Frames rendered at once (default 1); each takes memory")
        ->type_name("N")
        ->check(CLI::Range(1, 256));
    command
        ->add_option("--codec", options.codec,
                     "Encoder, such as h264, hevc, ffv1, prores (default: by OUTPUT's "
                     "type, keeping the source's depth and kind of colours)")
        ->type_name("NAME");
    command
        ->add_option("--codec-options", options.codecOptions,
                     "Options of the encoder, such as preset=medium:crf=14 for smaller files or better "
                     "pictures in more time")
        ->type_name("name=value:...");
    AddPlugin(*command, options.plugin);
    AddHost(*command, options.host);
    command->add_flag("--overwrite", options.overwrite, "Replaces existing outputs");
    command->add_option("--stats", options.statistics, "Writes figures about the render to a JSON file")
        ->type_name("FILE.json");
    command->add_flag("--quiet", options.quiet, "Prints nothing but errors");
    command->callback([&options] { RunRender(options, interrupted); });
}

struct OtherOptions {
    std::filesystem::path plugin;
    std::string host = "steadylux";
    bool json = false;
    bool quiet = false;
    std::string kind;
    std::filesystem::path folder = "out";
};

void AddOthers(CLI::App& app, OtherOptions& options) {
    CLI::App* presets = app.add_subcommand("presets", "Lists the presets with their numbers.");
    AddPlugin(*presets, options.plugin);
    presets->callback([&options] { RunPresets(options.plugin); });

    CLI::App* describe =
        app.add_subcommand("describe", "Tells what the plug-in is and which parameters it has.");
    describe->add_flag("--json", options.json, "As JSON");
    AddPlugin(*describe, options.plugin);
    AddHost(*describe, options.host);
    describe->callback([&options] { RunDescribe(options.plugin, options.host, options.json); });

    CLI::App* demo = app.add_subcommand("demo",
                                        "Makes clips that flicker in a known way, renders them and measures "
                                        "what is left. Earlier demonstrations in the folder are replaced.");
    demo->add_option("KIND", options.kind, "Which one (default: all); a wrong name lists them")
        ->type_name("");
    demo->add_option("--out", options.folder, "Folder for the files (default: out)")->type_name("DIR");
    AddPlugin(*demo, options.plugin);
    demo->add_flag("--quiet", options.quiet, "No progress bar");
    demo->callback(
        [&options] { RunDemo(options.kind, options.folder, options.plugin, options.quiet, interrupted); });

    app.add_subcommand("version", "Prints the version.")->callback([] { RunVersion(); });
}

int Fail(ExitStatus status, const std::string& text) {
    fmt::print(stderr, "steadylux: {}\n", text);
    return static_cast<int>(status);
}

}  // namespace

int main(int argc, char** argv) {
    TQ::Platform::ReturnFreedMemory();
    TQ::Platform::SetInterruptFlag(interrupted);
    CLI::App app("Removes flicker from video with the Steady Lux plug-in, or runs another OpenFX filter.",
                 "steadylux");
    app.require_subcommand(1);
    app.footer(ExitStatusTable());
    RenderOptions renderOptions;
    OtherOptions otherOptions;
    AddRender(app, renderOptions);
    AddOthers(app, otherOptions);
    const auto isNamed = [&](const CLI::App* command) { return command->get_name() == argv[1]; };
    if (argc > 1 && argv[1][0] != '-' && app.get_subcommands(isNamed).empty()) {
        return Fail(ExitStatus::Usage,
                    std::string("unknown command '") + argv[1] + "'; 'steadylux --help' lists them");
    }
    try {
        app.parse(argc, argv);
        return static_cast<int>(ExitStatus::Done);
    } catch (const CLI::Success& success) {
        return app.exit(success);
    } catch (const CLI::ParseError& error) {
        return Fail(ExitStatus::Usage, std::string(error.what()) + "; 'steadylux --help' tells more");
    } catch (...) {
        std::string text;
        const ExitStatus status = StatusOf(std::current_exception(), text);
        return Fail(interrupted ? ExitStatus::Interrupted : status, interrupted ? "interrupted" : text);
    }
}
