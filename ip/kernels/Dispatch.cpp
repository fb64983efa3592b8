#include "ip/kernels/CpuFeatures.h"
#include "ip/kernels/KernelTable.h"
#include "ip/kernels/Levels.h"

namespace TQ::IP {
namespace {

struct LevelRow {
    const char* name;
    const LevelKernels* kernels;
};

constexpr LevelRow levels[isaLevelCount] = {
    {"baseline", &Baseline::kernels}, {"SSE2", &Sse2::kernels},      {"SSE4.1", &Sse41::kernels},
    {"AVX2", &Avx2::kernels},         {"AVX-512", &Avx512::kernels},
};

using enum KernelFormat;
/// By position of red.
constexpr KernelFormat byteFormats[4] = {Byte_RGBA, Byte_ARGB, Byte_BGRA, Byte_ABGR};
constexpr KernelFormat short32768Formats[4] = {Short32768_ARGB, Short32768_ARGB, Short32768_BGRA,
                                               Short32768_ARGB};
constexpr KernelFormat short16384Formats[4] = {Short16384_RGBA, Short16384_ARGB, Short16384_BGRA,
                                               Short16384_ABGR};
constexpr KernelFormat shortOtherFormats[4] = {ShortOther_RGBA, ShortOther_RGBA, ShortOther_RGBA,
                                               ShortOther_RGBA};
constexpr KernelFormat floatFormats[4] = {Float_RGBA, Float_ARGB, Float_BGRA, Float_ABGR};

const KernelFormat* FormatsOf(int channelBits, int whiteLevel) {
    switch (channelBits) {
        case 8:
            return byteFormats;
        case 16:
            if (whiteLevel == 32768) {
                return short32768Formats;
            }
            return whiteLevel == 16384 ? short16384Formats : shortOtherFormats;
        case 32:
            return floatFormats;
        default:
            return nullptr;
    }
}

}  // namespace

bool IsLevelUsable(IsaLevel level) {
    return AdmitsLevel(GetCpuFeatures(), level);
}

IsaLevel BestLevel() {
    int level = isaLevelCount - 1;
    while (!IsLevelUsable(static_cast<IsaLevel>(level))) {
        --level;
    }
    return static_cast<IsaLevel>(level);
}

const char* LevelName(IsaLevel level) {
    return levels[static_cast<int>(level)].name;
}

Kernel FindKernel(IsaLevel level, KernelId kernel, KernelFormat format) {
    return levels[static_cast<int>(level)]
        .kernels->entries[static_cast<int>(kernel)][static_cast<int>(format)];
}

void RunKernel(KernelId kernel, KernelFormat format, const ImageView& output, const ImageView* inputs,
               const Bounds& band, const void* parameters, Image::Progress& progress) {
    for (int i = isaLevelCount - 1; i > 0; --i) {
        const auto level = static_cast<IsaLevel>(i);
        if (!IsLevelUsable(level)) {
            continue;
        }
        const Kernel run = FindKernel(level, kernel, format);
        if (run != nullptr && run(output, inputs, band, parameters, progress)) {
            return;
        }
    }
    FindKernel(IsaLevel::Baseline, kernel, format)(output, inputs, band, parameters, progress);
}

bool ChooseKernelFormat(int channelBits, int whiteLevel, int redPosition, KernelFormat& format) {
    const KernelFormat* formats = FormatsOf(channelBits, whiteLevel);
    if (formats == nullptr) {
        return false;
    }
    format = formats[redPosition & 3];
    return true;
}

}  // namespace TQ::IP
