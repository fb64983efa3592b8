#pragma once

// Rendering on devices that the host shares: the OpenGL suite, and the properties for CUDA, OpenCL and Metal.

#include "host/ofx/abi/OfxImageEffect.h"

/// Names of the suites.
inline constexpr char kOfxOpenGLRenderSuite[] = "OfxImageEffectOpenGLRenderSuite";
inline constexpr char kOfxOpenCLProgramSuite[] = "OfxOpenCLProgramSuite";

/// Version 1.
struct OfxImageEffectOpenGLRenderSuiteV1 {
    OfxStatus (*clipLoadTexture)(OfxImageClipHandle clip, OfxTime time, const char* format,
                                 const OfxRectD* region, OfxPropertySetHandle* textureHandle);
    OfxStatus (*clipFreeTexture)(OfxPropertySetHandle textureHandle);
    OfxStatus (*flushResources)();
};

/// Version 1.
struct OfxOpenCLProgramSuiteV1 {
    OfxStatus (*compileProgram)(const char* pszProgramSource, int fOptional, void* pResult);
};

/// Statuses of device renders; the GL names are older.
constexpr int kOfxStatGPUOutOfMemory = 1001;
constexpr int kOfxStatGLOutOfMemory = 1001;
constexpr int kOfxStatGPURenderFailed = 1002;
constexpr int kOfxStatGLRenderFailed = 1002;

/// Actions around a context of the host.
inline constexpr char kOfxActionOpenGLContextAttached[] = "OfxActionOpenGLContextAttached";
inline constexpr char kOfxActionOpenGLContextDetached[] = "kOfxActionOpenGLContextDetached";

/// The processor: whether effect and host render there at all.
inline constexpr char kOfxImageEffectPropCPURenderSupported[] = "OfxImageEffectPropCPURenderSupported";

/// OpenGL.
inline constexpr char kOfxImageEffectPropOpenGLRenderSupported[] = "OfxImageEffectPropOpenGLRenderSupported";
inline constexpr char kOfxOpenGLPropPixelDepth[] = "OfxOpenGLPropPixelDepth";
inline constexpr char kOfxImageEffectPropOpenGLEnabled[] = "OfxImageEffectPropOpenGLEnabled";
inline constexpr char kOfxImageEffectPropOpenGLTextureIndex[] = "OfxImageEffectPropOpenGLTextureIndex";
inline constexpr char kOfxImageEffectPropOpenGLTextureTarget[] = "OfxImageEffectPropOpenGLTextureTarget";

/// CUDA.
inline constexpr char kOfxImageEffectPropCudaRenderSupported[] = "OfxImageEffectPropCudaRenderSupported";
inline constexpr char kOfxImageEffectPropCudaEnabled[] = "OfxImageEffectPropCudaEnabled";
inline constexpr char kOfxImageEffectPropCudaStreamSupported[] = "OfxImageEffectPropCudaStreamSupported";
inline constexpr char kOfxImageEffectPropCudaStream[] = "OfxImageEffectPropCudaStream";

/// OpenCL.
inline constexpr char kOfxImageEffectPropOpenCLRenderSupported[] = "OfxImageEffectPropOpenCLRenderSupported";
inline constexpr char kOfxImageEffectPropOpenCLSupported[] = "OfxImageEffectPropOpenCLSupported";
inline constexpr char kOfxImageEffectPropOpenCLEnabled[] = "OfxImageEffectPropOpenCLEnabled";
inline constexpr char kOfxImageEffectPropOpenCLCommandQueue[] = "OfxImageEffectPropOpenCLCommandQueue";
inline constexpr char kOfxImageEffectPropOpenCLImage[] = "OfxImageEffectPropOpenCLImage";

/// Metal.
inline constexpr char kOfxImageEffectPropMetalRenderSupported[] = "OfxImageEffectPropMetalRenderSupported";
inline constexpr char kOfxImageEffectPropMetalEnabled[] = "OfxImageEffectPropMetalEnabled";
inline constexpr char kOfxImageEffectPropMetalCommandQueue[] = "OfxImageEffectPropMetalCommandQueue";
