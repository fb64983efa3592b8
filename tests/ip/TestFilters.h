#pragma once

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>
#include <vector>

#include "ip/Evaluation.h"
#include "ip/Filter.h"
#include "support/MemoryHost.h"

namespace TQ::Test {

using IP::Bounds;
using Handle = std::shared_ptr<IP::FilterBase>;

/// Adds a constant to every value, over the bounds of its input. With a margin it asks for more of its input
/// than it reads, as filters with a neighbourhood do. Two in a row merge into one when `merges` is set; 0 is
/// an identity.
class AddConstant : public IP::Filter {
  public:
    AddConstant(const Handle& input, double constant, int reach = 0) : value(constant), margin(reach) {
        AddInput(input);
    }

    const char* GetName() const override { return "addConstant"; }
    bool IsEqual(const FilterBase& other) const override {
        return IsSameType(other) && value == static_cast<const AddConstant&>(other).value;
    }
    int IdentityInput() const override { return value == 0 ? 0 : -1; }
    IP::MergeAnswer MergeInput(const Handle& input) override {
        const auto* other = dynamic_cast<const AddConstant*>(input.get());
        if (other == nullptr || !merges) {
            return IP::MergeAnswer::None;
        }
        value += other->value;
        return IP::MergeAnswer::Absorbed;
    }
    Bounds GetInputRegion(const Bounds& wanted, int) const override {
        return IP::Intersect(IP::Grow(wanted, {-margin, -margin, margin, margin}), inputs[0]->GetBounds());
    }
    bool CanRunInPlace() const override { return inPlace; }
    void RunHost(IP::Host& runHost, IP::Layer& runOutput, const std::vector<IP::Layer*>& runInputs) override {
        ++runs;
        Filter::RunHost(runHost, runOutput, runInputs);
    }

    double value;
    int margin;
    bool merges = false;
    bool inPlace = false;
    int runs = 0;

  protected:
    void RunHostRows(const Bounds& rows, int threadIndex) override {
        for (int y = rows.y1; y < rows.y2; ++y) {
            if ((y - rows.y1) % 32 == 0) {
                host->UpdateProgress(threadIndex, static_cast<std::uint64_t>(y - rows.y1),
                                     static_cast<std::uint64_t>(rows.y2 - rows.y1));
            }
            for (int x = rows.x1; x < rows.x2; ++x) {
                for (int position = 0; position < output->Channels(); ++position) {
                    SetValue(*output, x, y, position, Sample(x, y, position));
                }
            }
        }
    }
    virtual double Sample(int x, int y, int position) const {
        return GetValue(*inputLayers[0], x, y, position) + value;
    }
};

/// The sum of two inputs.
class Sum : public AddConstant {
  public:
    Sum(const Handle& a, const Handle& b) : AddConstant(a, 0) { AddInput(b); }
    const char* GetName() const override { return "sum"; }
    bool IsEqual(const FilterBase& other) const override { return IsSameType(other); }
    int IdentityInput() const override { return -1; }

  protected:
    double Sample(int x, int y, int position) const override {
        return GetValue(*inputLayers[0], x, y, position) + GetValue(*inputLayers[1], x, y, position);
    }
};

/// A leaf over an 8-bit picture of its own.
class Source : public IP::FilterLayer {
  public:
    Source(MemoryHost& host, const Bounds& bounds, int channelBits = 8) : FilterLayer(nullptr) {
        picture = MakeLayer(host, bounds, channelBits);
        FillLayer(*picture, Value);
        layer = picture.get();
    }
    void AfterInputUse() override { ++uses; }
    static double Value(int x, int y, int position) { return (x * 3 + y * 5 + position) & 63; }

    std::shared_ptr<IP::Layer> picture;
    int uses = 0;
};

/// A filter that is its only input, so that a sink can be replaced in a test as in an evaluation.
class Root : public IP::FilterBase {
  public:
    const char* GetName() const override { return "root"; }
};

inline std::shared_ptr<Root> RootOver(const Handle& sink) {
    auto root = std::make_shared<Root>();
    root->AddInput(sink);
    return root;
}

}  // namespace TQ::Test
