#include "app/host/EffectObject.h"

#include <algorithm>
#include <new>

#include "app/host/MemoryPool.h"
#include "app/host/PropertyTables.h"

namespace TQ::App {

Clip::Clip(EffectObject& owner, const std::string& name)
    : _owner(owner), _name(name), _properties(ClipRows()) {
    _properties.SetText(kOfxPropName, name);
    _properties.SetText(kOfxPropLabel, name);
}

Clip::Clip(EffectObject& owner, const Clip& other) : Clip(owner, other._name) {
    _properties.CopyFrom(other._properties);
}

ClipDescription Clip::Describe() const {
    ClipDescription description;
    description.name = _name;
    description.label = _properties.Text(kOfxPropLabel);
    description.components = _properties.Texts(kOfxImageEffectPropSupportedComponents);
    description.optional = _properties.Int(kOfxImageClipPropOptional) != 0;
    description.temporalAccess = _properties.Int(kOfxImageEffectPropTemporalClipAccess) != 0;
    return description;
}

ImageMemory::ImageMemory(EffectObject& owner, std::size_t bytes)
    : _owner(owner), _data(MemoryPool::Shared().Allocate(bytes)) {
    if (!_data) {
        throw std::bad_alloc();
    }
}

ImageMemory::~ImageMemory() {
    MemoryPool::Shared().Free(_data);
}

EffectObject::EffectObject(const EffectObject& description, std::span<const PropertyRow> rows,
                           ParameterSet::Watcher& watcher)
    : _properties(rows),
      _parameters(std::make_unique<ParameterSet>(*description._parameters, watcher)),
      _open(false) {
    for (const auto& clip : description._clips) {
        _clips.push_back(std::make_unique<Clip>(*this, *clip));
    }
}

Clip* EffectObject::FindClip(std::string_view name) const {
    const auto place =
        std::find_if(_clips.begin(), _clips.end(), [&](const auto& clip) { return clip->Name() == name; });
    return place == _clips.end() ? nullptr : place->get();
}

Clip* EffectObject::DefineClip(const std::string& name) {
    if (!_open || FindClip(name)) {
        return nullptr;
    }
    return _clips.emplace_back(std::make_unique<Clip>(*this, name)).get();
}

void EffectObject::Close() {
    _open = false;
    _parameters->Close();
}

OfxImageMemoryHandle EffectObject::AllocateMemory(std::size_t bytes) {
    auto memory = std::make_unique<ImageMemory>(*this, bytes);
    ImageMemory* key = memory.get();
    std::lock_guard lock(_memoryMutex);
    _memory.emplace(key, std::move(memory));
    return key->AsHandle();
}

void EffectObject::FreeMemory(ImageMemory& memory) {
    std::lock_guard lock(_memoryMutex);
    _memory.erase(&memory);
}

}  // namespace TQ::App
