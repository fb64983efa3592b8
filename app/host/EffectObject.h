#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "app/host/Handles.h"
#include "app/host/Parameter.h"
#include "app/host/PropertySet.h"
#include "host/ofx/abi/OfxImageEffect.h"

namespace TQ::App {

class EffectObject;
class RenderJob;

/// A clip of an effect's description or of an instance.
class Clip : public HandleOwner<Clip, OfxImageClipHandle> {
  public:
    Clip(EffectObject& owner, const std::string& name);
    /// The same clip in an instance.
    Clip(EffectObject& owner, const Clip& other);

    const std::string& Name() const { return _name; }
    bool IsOutput() const { return _name == kOfxImageEffectOutputClipName; }
    bool IsConnected() const { return _properties.Int(kOfxImageClipPropConnected) != 0; }
    EffectObject& Owner() { return _owner; }
    PropertySet& Properties() { return _properties; }
    const PropertySet& Properties() const { return _properties; }
    ClipDescription Describe() const;

  private:
    EffectObject& _owner;
    const std::string _name;
    PropertySet _properties;
};

/// Scratch memory that the plug-in asked for in the name of an instance; it goes with the instance at the
/// latest.
class ImageMemory : public HandleOwner<ImageMemory, OfxImageMemoryHandle> {
  public:
    /// Throws std::bad_alloc.
    ImageMemory(EffectObject& owner, std::size_t bytes);
    ~ImageMemory();
    void* Data() { return _data; }
    EffectObject& Owner() { return _owner; }

  private:
    EffectObject& _owner;
    void* _data;
};

/// What stands behind an effect handle: the description of an effect, that of one context, or an instance.
class EffectObject : public HandleOwner<EffectObject, OfxImageEffectHandle> {
  public:
    /// A description; clips and parameters may be defined until Close().
    explicit EffectObject(std::span<const PropertyRow> rows) : _properties(rows) {}
    /// An instance of a description.
    EffectObject(const EffectObject& description, std::span<const PropertyRow> rows,
                 ParameterSet::Watcher& watcher);
    virtual ~EffectObject() = default;

    PropertySet& Properties() { return _properties; }
    const PropertySet& Properties() const { return _properties; }
    ParameterSet& Parameters() { return *_parameters; }
    const ParameterSet& Parameters() const { return *_parameters; }
    const std::vector<std::unique_ptr<Clip>>& Clips() const { return _clips; }
    Clip* FindClip(std::string_view name) const;
    /// Null when the object takes no new clips or has one of that name.
    Clip* DefineClip(const std::string& name);
    void Close();

    /// The render in whose name the calling thread asks; null when there is none, which is so in
    /// descriptions.
    virtual RenderJob* CurrentJob() { return nullptr; }
    /// Region of a clip in canonical coordinates, or a status other than 0.
    virtual OfxStatus ClipRegion(const Clip&, OfxRectD&) const { return kOfxStatErrBadHandle; }
    /// First and last frame of the instance's time line.
    virtual OfxRangeD TimeBounds() const { return {0, 0}; }
    virtual bool IsInstance() const { return false; }

    OfxImageMemoryHandle AllocateMemory(std::size_t bytes);
    void FreeMemory(ImageMemory& memory);

  private:
    PropertySet _properties;
    std::unique_ptr<ParameterSet> _parameters = std::make_unique<ParameterSet>();
    std::vector<std::unique_ptr<Clip>> _clips;
    bool _open = true;
    std::mutex _memoryMutex;
    std::map<ImageMemory*, std::unique_ptr<ImageMemory>> _memory;
};

}  // namespace TQ::App
