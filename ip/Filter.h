#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ip/Host.h"
#include "ip/Layer.h"
#include "ip/kernels/KernelTable.h"

namespace TQ::IP {

class GPGPUContext;

/// Answers of FilterBase::MergeInput.
enum class MergeAnswer {
    None,      ///< nothing to merge
    Absorbed,  ///< this filter absorbed the input: it takes over the input's inputs
    Bypassed,  ///< the input absorbed this filter and takes its place in the graph
    Again,     ///< this filter has rewired its inputs: look at it once more
};

/// How an input is read, or with index -1 how the output is written.
enum class PixelAccess { Raw = 0, Float = 1, Converted = 2 };

/// The root of all filters: a node of a directed acyclic graph of image operations. Always held by
/// std::shared_ptr (made with std::make_shared); a graph is kept alive by its sink. A graph belongs to one
/// render.
class FilterBase : public std::enable_shared_from_this<FilterBase> {
  public:
    FilterBase();
    virtual ~FilterBase();
    FilterBase(const FilterBase&) = delete;
    FilterBase& operator=(const FilterBase&) = delete;

    // Connections
    /// One entry per input edge that points here; not owned. Kept by the connection operations.
    std::vector<FilterBase*> consumers;
    std::vector<std::shared_ptr<FilterBase>> inputs;
    /// A filter whose format this one takes; optional.
    std::shared_ptr<FilterBase> formatSource;

    /// Appends an input; null is ignored.
    void AddInput(std::shared_ptr<FilterBase> input);
    /// Puts `input` at `index`; nothing when it is there already.
    void ReplaceInput(std::shared_ptr<FilterBase> input, std::size_t index);
    void ClearInputs();
    /// All consumers of this filter take `replacement` instead; this filter leaves the graph.
    void ReplaceBy(const std::shared_ptr<FilterBase>& replacement);

    /// The number of the last walk over a graph that met this filter.
    std::uint64_t lastWalk = 0;

    // State of one evaluation
    Bounds region = unsetBounds;           ///< union of all regions asked of this filter
    Bounds savedRegion = unsetBounds;      ///< what `region` restarts from when the graph was rewritten
    Bounds requestedRegion = unsetBounds;  ///< copy of `region` after its last extension
    PixelFormat format;
    std::uint64_t peakMemory = 0;   ///< bytes that this filter and everything upstream need at most
    std::uint64_t memoryLimit = 0;  ///< 0: no limit of its own
    RenderResult keptResult;        ///< held for further consumers
    std::uint64_t consumed = 0;     ///< consumers served so far
    int forcedBackend = -1;         ///< -1 no decision, 0 must run on the processor, 1 or more on the device

    // Identity and optimisation
    /// The type's name, compared as text.
    virtual const char* GetName() const = 0;
    bool IsSameType(const FilterBase& other) const;
    /// IsSameType; each filter adds its parameters, never its inputs.
    virtual bool IsEqual(const FilterBase& other) const;
    /// The index of the input that this filter hands on unchanged, or -1.
    virtual int IdentityInput() const;
    /// Offers an input that no other filter consumes for merging.
    virtual MergeAnswer MergeInput(const std::shared_ptr<FilterBase>& input);
    /// Called once per filter before evaluation; a filter may replace itself by a sub-graph (use ReplaceBy).
    virtual void ExpandGraph(Host& host, GPGPUContext* context, const PixelFormat& outputFormat);
    /// A filter that computes on the processor what this one and filters upstream of it compute, in one walk
    /// over the pixels, and is to take this one's place; null when there is none. Regions and formats are
    /// known. The new filter holds source pictures of at most `mostBytes` at once.
    virtual std::shared_ptr<FilterBase> Fuse(std::uint64_t mostBytes);

    // Regions and formats
    /// What this filter can deliver: bounds of input 0, infinite without inputs.
    virtual Bounds GetBounds() const;
    /// The same rule as text: "infinite" | "boundsN" | "intersect(a,b)" | "extend(a,b)".
    virtual std::string GetBoundsExpression() const;
    /// The rectangle of input `input` needed for `wanted` of the output.
    virtual Bounds GetInputRegion(const Bounds& wanted, int input) const;
    /// AdjustFormat of input 0's format (of `formatSource`'s when set); the stored format with neither.
    virtual PixelFormat GetFormat() const;
    virtual PixelFormat GetInputFormat(const PixelFormat& wanted, int input) const;
    /// Turns the format of the input into that of the output: unchanged, or that of `formatSource`.
    virtual PixelFormat AdjustFormat(const PixelFormat& inputFormat) const;
    /// Whether SetFormat may impose a format: only on filters without inputs.
    virtual bool AcceptsFormat(const PixelFormat& wanted) const;
    /// Stores `wanted` when accepted, GetFormat() otherwise.
    virtual void SetFormat(const PixelFormat& wanted);
    /// Asks for `wanted` in addition to all regions asked before, and passes the need on to the inputs. The
    /// wanted format goes on to them too, so that it reaches the sources that can take any.
    virtual void SetRegion(const Bounds& wanted, const PixelFormat& wantedFormat);
    /// Called on every filter after the regions of the graph are known.
    virtual void AfterRegions();
    /// Prepares the graph over this sink and asks it for `wanted`, without rendering: the leaves then hold
    /// the regions that they would have to deliver.
    virtual void DryRun(Host& host, const Bounds& wanted, const PixelFormat& wantedFormat);
    /// Throws TQ::Exception "Input region mismatch." unless `actual` contains `wanted` or `wanted` is
    /// infinite or unset.
    virtual void CheckInputRegion(const Bounds& wanted, const Bounds& actual) const;
    /// One result with a layer per input, each covering its input's region; throws "Missing inputs.",
    /// "Missing input."
    virtual void CheckInputs(const std::vector<RenderResult>& results) const;
    /// 2 (converted) for every input; see the kernels' tables for those that differ.
    virtual PixelAccess InputAccess(int input) const;

    // Memory
    /// Bytes of all inputs' regions, plus the own region, plus ExtraMemoryNeeded.
    virtual std::uint64_t MemoryNeeded(const GPGPUContext* context) const;
    virtual std::uint64_t ExtraMemoryNeeded(const GPGPUContext* context, const Bounds& outputRegion,
                                            const PixelFormat& outputFormat) const;
    /// Bytes of the own region in the own format.
    std::uint64_t OutputBytes() const;

    // Evaluation
    virtual int ProgressSteps() const;
    /// Sum over every distinct filter reachable from this one.
    int TotalProgressSteps();
    virtual bool HasGpu(const GPGPUContext* context) const;
    /// 0 processor; devices answer more.
    virtual int PreferredBackend(const GPGPUContext* context) const;
    virtual bool CanRunInPlace() const;
    virtual bool CanRunInPlaceFor(const GPGPUContext* context, int input) const;
    virtual bool TakeCachedResult(RenderResult& result, bool& rendered);
    virtual void KeepResult(const RenderResult& result, bool& rendered);
    /// The result turned out not to be needed: keeps the counts of `consumed` right upstream.
    virtual void SkipRender();
    virtual void BeforeInputUse();
    /// Called on every input after a consumer has run; a host layer gives its frame back at the last one.
    virtual void AfterInputUse();
    virtual bool IsLastUse() const;
    /// Leaves return their layer, all others null.
    virtual Layer* GetLayer();
    /// Called before the leaf is asked for its layer or its pixels; a lazily fetched leaf fetches here.
    virtual void PrepareRender(Host& host);
    /// Allocates `result`'s layer for `outputRegion` in `wanted`, like `reuse` where that fits.
    virtual void AllocateLike(RenderResult& result, const Layer* reuse, const PixelFormat& wanted,
                              const Bounds& outputRegion);
    /// AllocateLike in the own format; writes GetBounds() to the layer's valid bounds.
    virtual void AllocateOutput(RenderResult& result, const Layer* reuse, const Bounds& outputRegion);
    /// Renders this filter and what it needs into `result`, on the processor. A filter without inputs that
    /// needs pixels of its own allocates them like `exemplar` (the layer that the whole graph is rendered
    /// into) where that fits. On return `rendered` tells whether the pixels are exclusively the caller's.
    virtual void RenderHost(Host& host, const Layer* exemplar, RenderResult& result, bool& rendered,
                            int depth);
    /// Computes the pixels of `output` from those of the inputs.
    virtual void RunHost(Host& host, Layer& output, const std::vector<Layer*>& inputLayers);
};

/// A filter with a processor kernel that runs over bands of rows.
class Filter : public FilterBase {
  public:
    void RunHost(Host& host, Layer& output, const std::vector<Layer*>& inputLayers) override;

  protected:
    /// Computes the rows of `rows` (x range: that of the output). Runs on worker threads.
    virtual void RunHostRows(const Bounds& rows, int threadIndex) = 0;
    /// Runs `kernel` over `band` in the format of `formatLayer`, from the output and inputs of this run.
    /// Throws TQ::Exception when there is no kernel for that format.
    void RunBand(KernelId kernel, const Layer& formatLayer, const Bounds& band, const void* parameters,
                 int threadIndex);

    /// An index for bands whose progress is not that of the filter: they only look for an abort.
    static constexpr int threadThatDoesNotReport = 1;

    // Set by RunHost, so that bands need only their rows; valid while it runs.
    Host* host = nullptr;
    Layer* output = nullptr;
    std::vector<Layer*> inputLayers;
    /// Height of the smallest unit of rows that bands are cut into.
    int bandGranularity = 1;
};

/// A filter that runs in two passes, along rows and then along columns.
class FilterSeparable : public Filter {
  public:
    enum class PassMode { Both = 0, First = 1, Second = 2 };

    int ProgressSteps() const override;
    bool CanRunInPlace() const override;
    void RunHost(Host& host, Layer& output, const std::vector<Layer*>& inputLayers) override;

    PassMode passMode = PassMode::Both;
    bool reportsProgress = true;

  protected:
    /// The second pass over a band of columns (y range: that of the output).
    virtual void RunHostColumns(const Bounds& columns, int threadIndex) = 0;
    /// Runs one pass with the members set, split into bands of rows or of columns.
    void RunRowPass(Host& host, Layer& output, const std::vector<Layer*>& inputLayers);
    void RunColumnPass(Host& host, Layer& output, const std::vector<Layer*>& inputLayers);
    /// Progress of the passes: starts at 0 of ProgressSteps, and counts one pass.
    void BeginPasses(Host& host);
    void EndPass(Host& host);
};

/// A leaf over a layer that somebody else owns.
class FilterLayer : public FilterBase {
  public:
    explicit FilterLayer(Layer* layer);          ///< looks at, does not own
    explicit FilterLayer(const Bounds& bounds);  ///< no pixels: for dry runs

    const char* GetName() const override { return "layer"; }
    /// Two leaves over one layer. Leaves without a layer stand for images that are not known yet: never
    /// equal.
    bool IsEqual(const FilterBase& other) const override;
    Bounds GetBounds() const override;
    PixelFormat GetFormat() const override;
    bool AcceptsFormat(const PixelFormat&) const override { return layer == nullptr; }
    Layer* GetLayer() override { return layer; }
    int ProgressSteps() const override { return 0; }
    std::uint64_t MemoryNeeded(const GPGPUContext* context) const override;
    void RunHost(Host& host, Layer& output, const std::vector<Layer*>& inputLayers) override;

    Layer* layer = nullptr;
    Bounds fallbackBounds = unsetBounds;
};

/// A leaf over an already rendered result: lets a filter that runs several kernels by itself put one image
/// into a graph of its own.
class FilterCompLayer : public FilterBase {
  public:
    explicit FilterCompLayer(RenderResult source);

    const char* GetName() const override { return "compLayer"; }
    bool IsEqual(const FilterBase& other) const override;
    Bounds GetBounds() const override;
    PixelFormat GetFormat() const override;
    bool AcceptsFormat(const PixelFormat&) const override { return source.layer == nullptr; }
    Layer* GetLayer() override { return source.layer.get(); }
    int ProgressSteps() const override { return 0; }
    std::uint64_t MemoryNeeded(const GPGPUContext* context) const override;
    void RunHost(Host& host, Layer& output, const std::vector<Layer*>& inputLayers) override;

    RenderResult source;
    Bounds fallbackBounds = unsetBounds;
};

/// The KernelFormat of a layer; false when no kernel exists for it (half floats, other than four channels).
bool KernelFormatOf(const Layer& layer, KernelFormat& format);

}  // namespace TQ::IP
