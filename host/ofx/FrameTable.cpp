#include "host/ofx/FrameTable.h"

#include <algorithm>
#include <string>

#include "host/ofx/Host.h"
#include "ip/records/Exception.h"

namespace TQ::Host::OFX {

namespace {

std::string TimeAsText(double time) {
    std::string text = std::to_string(time);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') {
        text.pop_back();
    }
    return text;
}

}  // namespace

IP::Bounds Reach(const IP::Bounds& window, const std::vector<ExtraFrame>& slots) {
    IP::Bounds reach = window;
    for (const ExtraFrame& slot : slots) {
        if (slot.clip.empty() && !IP::IsEmpty(slot.region)) {
            reach = IP::Extend(reach, slot.region);
        }
    }
    return reach;
}

// --- FrameTable ----------------------------------------------------------------------------------

FrameTable::FrameTable(Host& effect, Layer& source, std::vector<ExtraFrame> slots, double time)
    : _effect(&effect), _source(&source), _time(time) {
    _entries.reserve(slots.size());
    for (ExtraFrame& slot : slots) {
        Entry entry;
        entry.slot = std::move(slot);
        const bool isSourceClip = entry.slot.clip.empty();
        const Clip clip =
            _effect->openClip(isSourceClip ? kOfxImageEffectSimpleSourceClipName : entry.slot.clip);
        const IP::Bounds region = RegionOf(clip, time + entry.slot.timeOffset);
        // Hosts differ in how they round a clip's size at a render scale. The current frame shows it.
        entry.expected = IP::Intersect(entry.slot.region, isSourceClip ? source.bounds : region);
        entry.covered = IP::Intersect(entry.expected, region);
        entry.canonical = _effect->toCanonical(entry.covered, clip);
        _entries.push_back(std::move(entry));
    }
}

IP::Bounds FrameTable::RegionOf(const Clip& clip, double time) const {
    try {
        return _effect->clipRegion(clip, time, _source->bounds);
    } catch (const Error&) {
        return _source->bounds;  // outside the clip, as the fetch will tell
    }
}

bool FrameTable::LiesElsewhere(std::size_t index) const {
    return IP::IsEmpty(_entries.at(index).covered);
}

Layer& FrameTable::BlankSlot(std::size_t index) {
    Entry& entry = _entries.at(index);
    entry.layer = std::make_unique<Layer>(*_effect);
    entry.layer->ShareRegion(*_source, {0, 0, 0, 0});  // for the format
    entry.layer->ExtendTo(entry.expected);
    return *entry.layer;
}

Layer& FrameTable::FetchSlot(std::size_t index) {
    Entry& entry = _entries.at(index);
    if (entry.layer) {
        return *entry.layer;
    }
    auto layer = std::make_unique<Layer>(*_effect);
    const Clip clip =
        _effect->openClip(entry.slot.clip.empty() ? kOfxImageEffectSimpleSourceClipName : entry.slot.clip);
    if (!IP::IsEmpty(entry.covered) && clip.IsConnected()) {
        _effect->fetchClipImage(*layer, clip, _time + entry.slot.timeOffset, &entry.canonical);
    }
    entry.layer = std::move(layer);
    if (entry.layer->HasImage()) {
        try {
            CheckFits(entry);
            if (IP::Contains(entry.layer->bounds, entry.expected)) {
                entry.layer->NarrowTo(entry.expected);
            } else {
                entry.layer->ExtendTo(entry.expected);
            }
        } catch (...) {
            entry.layer.reset();
            throw;
        }
    }
    return *entry.layer;
}

void FrameTable::CheckFits(const Entry& entry) const {
    const Layer& frame = *entry.layer;
    const std::string name = "The application's frame at time " + TimeAsText(_time + entry.slot.timeOffset);
    if (frame.channelBits != _source->channelBits || frame.channels != _source->channels ||
        frame.hostIsFloat != _source->hostIsFloat) {
        throw Exception("Neighbouring frame",
                        name +
                            " has another pixel format than the current one. Convert the clip "
                            "to one format before the effect.");
    }
    if (frame.isHostDeviceBuffer && !IP::Contains(frame.bounds, entry.expected)) {
        throw Exception("Neighbouring frame",
                        name +
                            " covers less than the current one. Give all frames of the clip the same size "
                            "before the effect, or switch the application's GPU processing off.");
    }
}

// --- FilterLayerWrapper --------------------------------------------------------------------------

FilterLayerWrapper::FilterLayerWrapper(Layer& layer)
    : _layer(std::make_unique<IP::Layer>(std::make_unique<LayerWrapper>(layer))), _record(&layer) {
}

bool FilterLayerWrapper::IsEqual(const IP::FilterBase& other) const {
    // The framework's own leaf has the same name.
    const auto* same = dynamic_cast<const FilterLayerWrapper*>(&other);
    return same != nullptr && same->_record == _record;
}

void FilterLayerWrapper::RunHost(IP::Host&, IP::Layer& output, const std::vector<IP::Layer*>&) {
    output.CopyFrom(*_layer);
}

// --- FilterHostLayer -----------------------------------------------------------------------------

FilterHostLayer::FilterHostLayer(FrameTable& table, std::size_t slot) : _table(&table), _slot(slot) {
    // Every frame of the window has the format of the current one.
    format = IP::FormatOfLayer(IP::Layer(std::make_unique<LayerWrapper>(table.Source())));
}

bool FilterHostLayer::IsEqual(const IP::FilterBase& other) const {
    const auto* same = dynamic_cast<const FilterHostLayer*>(&other);
    return same != nullptr && same->_slot == _slot;
}

IP::Bounds FilterHostLayer::GetBounds() const {
    return _table->ExpectedBounds(_slot);
}

IP::PixelFormat FilterHostLayer::GetFormat() const {
    return _layer ? IP::FormatOfLayer(*_layer) : format;
}

void FilterHostLayer::SetRegion(const IP::Bounds& wanted, const IP::PixelFormat& wantedFormat) {
    _consumersSeen = 0;
    FilterBase::SetRegion(wanted, wantedFormat);
}

void FilterHostLayer::PrepareRender(IP::Host& host) {
    if (_layer) {
        return;
    }
    // A window of frames may be fetched in a row, and each may take the application a while.
    host.CheckAbort(false);
    Layer* frame = &_table->FetchSlot(_slot);
    if (!frame->HasImage() && _table->LiesElsewhere(_slot)) {
        frame = &_table->BlankSlot(_slot);
    }
    if (!frame->HasImage()) {
        throw Exception("Neighbouring frame",
                        "The application has no frame at time " +
                            TimeAsText(_table->Time() + _table->Slot(_slot).timeOffset) +
                            " though it has one farther away. Fill the gap in the clip.");
    }
    _layer = std::make_unique<IP::Layer>(std::make_unique<LayerWrapper>(*frame));
}

void FilterHostLayer::AfterInputUse() {
    if (++_consumersSeen >= consumers.size()) {
        _layer.reset();
        _table->ReleaseSlot(_slot);
    }
}

bool FilterHostLayer::IsLastUse() const {
    return _consumersSeen + 1 >= consumers.size();
}

std::uint64_t FilterHostLayer::MemoryNeeded(const IP::GPGPUContext* context) const {
    return _layer || _table->FetchedLayer(_slot) != nullptr ? 0 : FilterBase::MemoryNeeded(context);
}

void FilterHostLayer::RunHost(IP::Host&, IP::Layer& output, const std::vector<IP::Layer*>&) {
    if (_layer) {
        output.CopyFrom(*_layer);
    }
}

}  // namespace TQ::Host::OFX
