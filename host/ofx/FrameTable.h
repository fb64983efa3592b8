#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "host/ofx/HostWrapper.h"
#include "host/ofx/Layer.h"
#include "ip/Filter.h"

namespace TQ::Host::OFX {

struct Clip;

/// One further image that a frame needs, beside the source at the frame's own time.
struct ExtraFrame {
    std::string clip;                     ///< name of the clip; empty: the source clip
    IP::Bounds region = IP::unsetBounds;  ///< pixels needed of it, at the render's scale
    double timeOffset = 0.0;              ///< frames, added to the time of the render
};

/// `window` together with everything that `slots` want of the source clip.
IP::Bounds Reach(const IP::Bounds& window, const std::vector<ExtraFrame>& slots);

/// The further frames of one render, fetched from the host when first asked for. Belongs to the render's
/// thread.
class FrameTable {
  public:
    /// `effect` and `source` are looked at and outlive the table; `source` is the current frame, in memory:
    /// every other frame must have its format, and those of its clip count within its bounds: transparent
    /// where they do not reach.
    FrameTable(Host& effect, Layer& source, std::vector<ExtraFrame> slots, double time);

    std::size_t Size() const { return _entries.size(); }
    const ExtraFrame& Slot(std::size_t index) const { return _entries.at(index).slot; }
    /// The frame, fetched if that has not happened yet. It has no image (Layer::HasImage) when the time is
    /// outside the clip or the clip is not connected. Throws Error when the host fails, TQ::Exception for an
    /// image that does not fit to the source.
    Layer& FetchSlot(std::size_t index);
    /// Nothing of the frame lies where the current one does. FetchSlot then gives no image.
    bool LiesElsewhere(std::size_t index) const;
    /// A transparent picture in the slot. Throws std::bad_alloc.
    Layer& BlankSlot(std::size_t index);
    /// What FetchSlot answered; null when the slot has not been fetched or was released.
    Layer* FetchedLayer(std::size_t index) const { return _entries.at(index).layer.get(); }
    /// Gives the frame back. It is fetched again when asked for again.
    void ReleaseSlot(std::size_t index) { _entries.at(index).layer.reset(); }
    /// The rectangle that the frame's layer has: its slot's region within the current frame, whatever the
    /// host gives.
    const IP::Bounds& ExpectedBounds(std::size_t index) const { return _entries.at(index).expected; }
    Layer& Source() const { return *_source; }
    double Time() const { return _time; }

  private:
    struct Entry {
        ExtraFrame slot;
        IP::Bounds expected = IP::unsetBounds;
        IP::Bounds covered = IP::unsetBounds;  ///< what the frame has of it; the rest is transparent
        OfxRectD canonical{0, 0, 0, 0};        ///< `covered` as the host is asked for it
        std::unique_ptr<Layer> layer;
    };
    IP::Bounds RegionOf(const Clip& clip, double time) const;
    void CheckFits(const Entry& entry) const;

    Host* _effect;
    Layer* _source;
    double _time;
    std::vector<Entry> _entries;
};

/// A leaf over a layer that is in memory, such as the source frame.
class FilterLayerWrapper : public IP::FilterBase {
  public:
    /// `layer` is looked at and outlives the filter.
    explicit FilterLayerWrapper(Layer& layer);

    const char* GetName() const override { return "layer"; }
    bool IsEqual(const IP::FilterBase& other) const override;
    IP::Bounds GetBounds() const override { return _layer->Bounds(); }
    IP::PixelFormat GetFormat() const override { return IP::FormatOfLayer(*_layer); }
    IP::Layer* GetLayer() override { return _layer.get(); }
    int ProgressSteps() const override { return 0; }
    std::uint64_t MemoryNeeded(const IP::GPGPUContext*) const override { return 0; }
    void RunHost(IP::Host& host, IP::Layer& output, const std::vector<IP::Layer*>& inputLayers) override;

  private:
    std::unique_ptr<IP::Layer> _layer;
    const Layer* _record;
};

/// A leaf over one slot of a FrameTable: fetched when evaluation first needs it, given back after its last
/// consumer.
class FilterHostLayer : public IP::FilterBase {
  public:
    /// `table` is looked at and outlives the filter.
    FilterHostLayer(FrameTable& table, std::size_t slot);

    const char* GetName() const override { return "hostLayer"; }
    bool IsEqual(const IP::FilterBase& other) const override;
    /// The expected bounds, before the fetch and after it.
    IP::Bounds GetBounds() const override;
    IP::PixelFormat GetFormat() const override;
    /// The frame has the current frame's format, whatever a consumer would like: it is read as the host
    /// delivers it.
    void SetFormat(const IP::PixelFormat&) override {}
    void SetRegion(const IP::Bounds& wanted, const IP::PixelFormat& wantedFormat) override;
    /// Null until PrepareRender.
    IP::Layer* GetLayer() override { return _layer.get(); }
    /// Fetches the frame. Throws TQ::Exception when the host has none, as nearer frames are taken to exist
    /// once a farther one does.
    void PrepareRender(IP::Host& host) override;
    void AfterInputUse() override;
    bool IsLastUse() const override;
    int ProgressSteps() const override { return 0; }
    std::uint64_t MemoryNeeded(const IP::GPGPUContext* context) const override;
    void RunHost(IP::Host& host, IP::Layer& output, const std::vector<IP::Layer*>& inputLayers) override;

  private:
    FrameTable* _table;
    std::size_t _slot;
    std::unique_ptr<IP::Layer> _layer;
    std::size_t _consumersSeen = 0;
};

}  // namespace TQ::Host::OFX
