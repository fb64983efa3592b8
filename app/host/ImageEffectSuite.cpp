#include "app/host/EffectObject.h"
#include "app/host/Guard.h"
#include "app/host/RenderJob.h"
#include "app/host/Suites.h"

namespace TQ::App {
namespace {

template <typename Object, typename Handle, typename Body>
OfxStatus With(Handle handle, Body&& body) noexcept {
    return Guarded([&]() -> OfxStatus {
        Object* object = Object::From(handle);
        return object ? body(*object) : kOfxStatErrBadHandle;
    });
}

OfxStatus GetPropertySet(OfxImageEffectHandle handle, OfxPropertySetHandle* properties) {
    return With<EffectObject>(handle, [&](EffectObject& effect) -> OfxStatus {
        if (!properties) {
            return kOfxStatErrValue;
        }
        *properties = effect.Properties().AsHandle();
        return kOfxStatOK;
    });
}

OfxStatus GetParamSet(OfxImageEffectHandle handle, OfxParamSetHandle* parameters) {
    return With<EffectObject>(handle, [&](EffectObject& effect) -> OfxStatus {
        if (!parameters) {
            return kOfxStatErrValue;
        }
        *parameters = effect.Parameters().AsHandle();
        return kOfxStatOK;
    });
}

OfxStatus ClipDefine(OfxImageEffectHandle handle, const char* name, OfxPropertySetHandle* properties) {
    return With<EffectObject>(handle, [&](EffectObject& effect) -> OfxStatus {
        if (!name || !*name) {
            return kOfxStatErrValue;
        }
        if (effect.FindClip(name)) {
            return kOfxStatErrExists;
        }
        Clip* clip = effect.DefineClip(name);
        if (!clip) {
            return kOfxStatErrBadHandle;
        }
        if (properties) {
            *properties = clip->Properties().AsHandle();
        }
        return kOfxStatOK;
    });
}

OfxStatus ClipGetHandle(OfxImageEffectHandle handle, const char* name, OfxImageClipHandle* result,
                        OfxPropertySetHandle* properties) {
    return With<EffectObject>(handle, [&](EffectObject& effect) -> OfxStatus {
        if (!result) {
            return kOfxStatErrValue;
        }
        Clip* clip = name && effect.IsInstance() ? effect.FindClip(name) : nullptr;
        if (!clip) {
            return kOfxStatErrUnknown;
        }
        *result = clip->AsHandle();
        if (properties) {
            *properties = clip->Properties().AsHandle();
        }
        return kOfxStatOK;
    });
}

OfxStatus ClipGetPropertySet(OfxImageClipHandle handle, OfxPropertySetHandle* properties) {
    return With<Clip>(handle, [&](Clip& clip) -> OfxStatus {
        if (!properties) {
            return kOfxStatErrValue;
        }
        *properties = clip.Properties().AsHandle();
        return kOfxStatOK;
    });
}

OfxStatus ClipGetImage(OfxImageClipHandle handle, OfxTime time, const OfxRectD* region,
                       OfxPropertySetHandle* image) {
    return With<Clip>(handle, [&](Clip& clip) -> OfxStatus {
        if (!image) {
            return kOfxStatErrValue;
        }
        RenderJob* job = clip.Owner().CurrentJob();
        return job ? job->GetImage(clip, time, region, image) : kOfxStatFailed;
    });
}

OfxStatus ClipReleaseImage(OfxPropertySetHandle handle) {
    return Guarded([&]() -> OfxStatus {
        Image* image = Image::FromHandle(handle);
        return image && image->Job().ReleaseImage(*image) ? kOfxStatOK : kOfxStatErrBadHandle;
    });
}

OfxStatus ClipGetRegionOfDefinition(OfxImageClipHandle handle, OfxTime, OfxRectD* bounds) {
    return With<Clip>(handle, [&](Clip& clip) -> OfxStatus {
        return bounds ? clip.Owner().ClipRegion(clip, *bounds) : kOfxStatErrValue;
    });
}

int Abort(OfxImageEffectHandle handle) {
    EffectObject* effect = EffectObject::From(handle);
    const RenderJob* job = effect ? effect->CurrentJob() : nullptr;
    return job && job->ShallStop() ? 1 : 0;
}

OfxStatus ImageMemoryAlloc(OfxImageEffectHandle handle, size_t bytes, OfxImageMemoryHandle* memory) {
    return With<EffectObject>(handle, [&](EffectObject& effect) -> OfxStatus {
        if (!memory) {
            return kOfxStatErrValue;
        }
        *memory = effect.AllocateMemory(bytes);
        return kOfxStatOK;
    });
}

OfxStatus NoImageMemory(OfxImageEffectHandle, size_t, OfxImageMemoryHandle*) {
    return kOfxStatErrMemory;
}

OfxStatus ImageMemoryFree(OfxImageMemoryHandle handle) {
    return With<ImageMemory>(handle, [](ImageMemory& memory) {
        memory.Owner().FreeMemory(memory);
        return kOfxStatOK;
    });
}

// The memory never moves, so a lock has nothing to do but tell where it is.
OfxStatus ImageMemoryLock(OfxImageMemoryHandle handle, void** data) {
    return With<ImageMemory>(handle, [&](ImageMemory& memory) -> OfxStatus {
        if (!data) {
            return kOfxStatErrValue;
        }
        *data = memory.Data();
        return kOfxStatOK;
    });
}

OfxStatus ImageMemoryUnlock(OfxImageMemoryHandle handle) {
    return With<ImageMemory>(handle, [](ImageMemory&) { return kOfxStatOK; });
}

}  // namespace

const OfxImageEffectSuiteV1 imageEffectSuite = {
    GetPropertySet,
    GetParamSet,
    ClipDefine,
    ClipGetHandle,
    ClipGetPropertySet,
    ClipGetImage,
    ClipReleaseImage,
    ClipGetRegionOfDefinition,
    Abort,
    ImageMemoryAlloc,
    ImageMemoryFree,
    ImageMemoryLock,
    ImageMemoryUnlock,
};

const OfxImageEffectSuiteV1 imageEffectSuiteWithoutMemory = [] {
    OfxImageEffectSuiteV1 suite = imageEffectSuite;
    suite.imageMemoryAlloc = NoImageMemory;
    return suite;
}();

}  // namespace TQ::App
