#include "app/Statistics.h"

#include <cerrno>
#include <fstream>
#include <nlohmann/json.hpp>

#include "app/media/PendingFile.h"
#include "ip/kernels/KernelTable.h"
#include "platform/Platform.h"

namespace TQ::App {

namespace {

using Json = nlohmann::ordered_json;

Json ValueOf(const ParameterState& state) {
    return std::visit([](const auto& value) { return Json(value); }, state.value);
}

}  // namespace

const char* DepthOptionName(SampleDepth depth) {
    constexpr const char* names[] = {"8", "16", "float"};
    return names[static_cast<int>(depth)];
}

void WriteStatistics(const RenderOptions& options, const RenderRecord& record, const EffectPlugin& plugin,
                     const EffectInstance& instance) {
    Json json;
    json["frames"] = record.frames;
    json["seconds"] = record.seconds;
    json["framesPerSecond"] = record.seconds > 0 ? record.frames / record.seconds : 0;
    json["peakMemoryBytes"] = Platform::PeakMemoryBytes();
    json["instructionSet"] = IP::LevelName(IP::BestLevel());
    Json parameters = Json::object();
    for (const ParameterState& state : instance.Parameters()) {
        if (state.name == "preset") {
            json["preset"] = {{"number", ValueOf(state)}, {"name", state.text}};
        }
        parameters[state.name] = ValueOf(state);
    }
    json["parameters"] = parameters;
    json["input"] = {{"path", options.input.string()},
                     {"width", record.source.width},
                     {"height", record.source.height},
                     {"frames", record.source.frameCount},
                     {"pixelFormat", av_get_pix_fmt_name(record.source.pixelFormat)}};
    json["output"] = {{"path", options.output.string()},
                      {"width", record.outputWidth},
                      {"height", record.outputHeight},
                      {"firstFrame", record.range.first},
                      {"lastFrame", record.range.first + record.frames - 1},
                      {"encoder", record.encoder},
                      {"pixelFormat", record.pixelFormat}};
    json["scale"] = options.scale;
    json["depth"] = DepthOptionName(instance.Format().depth);
    json["context"] = options.context;
    json["jobs"] = options.jobs;
    json["threads"] = HostThreads();
    json["plugin"] = {{"identifier", plugin.Identifier()},
                      {"version", plugin.Version()},
                      {"path", plugin.BinaryPath().string()}};
    errno = 0;
    std::ofstream stream(TemporaryNameFor(options.statistics));
    stream << json.dump(2) << '\n';
    stream.close();
    if (!stream) {
        const int code = errno;
        std::error_code error;
        std::filesystem::remove(TemporaryNameFor(options.statistics), error);
        throw WriteFailure(options.statistics, AVERROR(code ? code : EIO));
    }
    GiveFinalName(options.statistics, options.overwrite);
}

}  // namespace TQ::App
