#pragma once

#include <map>
#include <memory>
#include <shared_mutex>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "app/host/Handles.h"
#include "host/ofx/abi/OfxProperty.h"

namespace TQ::App {

/// Texts are shared and never change, so that a reader keeps what it read while another thread writes.
using SharedText = std::shared_ptr<const std::string>;

SharedText MakeText(std::string_view text);
/// Characters that stay valid on the calling thread until it has fetched a few hundred further texts,
/// whatever happens to the place that they came from.
char* LendText(SharedText text);

/// What a family of the standard's names has in common: one of them without its own end.
constexpr std::string_view WithoutEnd(std::string_view name, std::string_view end) {
    return name.substr(0, name.size() - end.size());
}

enum class PropertyType { Int, Double, Pointer, Text };

/// One property of a set, with its default.
struct PropertyRow {
    const char* name;
    PropertyType type;
    /// Number of elements; 0 when it varies, and then it starts with none.
    int dimension;
    double number = 0;
    const char* text = "";
    /// Whether plug-ins may write it.
    bool writable = false;
};

constexpr PropertyRow IntRow(const char* name, double value = 0, int dimension = 1) {
    return {name, PropertyType::Int, dimension, value};
}
constexpr PropertyRow DoubleRow(const char* name, double value = 0, int dimension = 1) {
    return {name, PropertyType::Double, dimension, value};
}
constexpr PropertyRow TextRow(const char* name, const char* value = "", int dimension = 1) {
    return {name, PropertyType::Text, dimension, 0, value};
}
constexpr PropertyRow PointerRow(const char* name) {
    return {name, PropertyType::Pointer, 1};
}
constexpr PropertyRow Writable(PropertyRow row) {
    row.writable = true;
    return row;
}

/// Named lists of values of one type each. Any number of threads may read and write.
class PropertySet : public HandleOwner<PropertySet, OfxPropertySetHandle> {
  public:
    PropertySet() = default;
    explicit PropertySet(std::span<const PropertyRow> rows) { Define(rows); }
    virtual ~PropertySet() = default;

    void Define(std::span<const PropertyRow> rows);
    void Define(const PropertyRow& row);
    /// Takes the values of the properties that both sets have with the same type.
    void CopyFrom(const PropertySet& other);
    /// From now on the property has no elements, and reading any of them succeeds without a value.
    void Hollow(std::string_view name);
    void Remove(std::string_view name);
    bool Has(std::string_view name) const;

    /// The host's own access; it may write everything. Unknown names and other types are faults of the host:
    /// std::logic_error. A missing element reads as 0, null or empty.
    void SetInts(std::string_view name, std::vector<int> values);
    void SetDoubles(std::string_view name, std::vector<double> values);
    void SetTexts(std::string_view name, const std::vector<std::string>& values);
    void SetInt(std::string_view name, int value) { SetInts(name, {value}); }
    void SetDouble(std::string_view name, double value) { SetDoubles(name, {value}); }
    void SetText(std::string_view name, std::string_view value) { SetTexts(name, {std::string(value)}); }
    void SetPointer(std::string_view name, void* value);
    int Int(std::string_view name, int index = 0) const;
    double Double(std::string_view name, int index = 0) const;
    std::string Text(std::string_view name, int index = 0) const;
    void* Pointer(std::string_view name) const;
    std::vector<std::string> Texts(std::string_view name) const;
    /// Elements of an int or double property.
    std::vector<double> Numbers(std::string_view name) const;

    /// The plug-in's access, with the statuses of the property suite: unknown name kOfxStatErrUnknown, index
    /// kOfxStatErrBadIndex, wrong type or not for plug-ins to write kOfxStatErrValue. `Element` is int,
    /// double, void* or SharedText. Writing N elements gives a property of varying size exactly those.
    template <typename Element>
    OfxStatus Write(const char* name, int index, const Element& value);
    template <typename Element>
    OfxStatus WriteAll(const char* name, int count, const Element* values);
    template <typename Element>
    OfxStatus Read(const char* name, int index, Element& value) const;
    template <typename Element>
    OfxStatus ReadAll(const char* name, int count, Element* values) const;
    OfxStatus Reset(const char* name);
    OfxStatus Dimension(const char* name, int& count) const;

  private:
    using Values =
        std::variant<std::vector<int>, std::vector<double>, std::vector<void*>, std::vector<SharedText>>;
    struct Property {
        Values values;
        Values defaults;
        int dimension = 1;
        bool writable = false;
        bool hollow = false;
    };

    Property* Find(const char* name);
    const Property* Find(const char* name) const;
    Property& Required(std::string_view name);
    template <typename Element>
    void SetAll(std::string_view name, std::vector<Element> values);
    template <typename Element>
    Element Get(std::string_view name, int index) const;

    mutable std::shared_mutex _mutex;
    std::map<std::string, Property, std::less<>> _properties;
};

}  // namespace TQ::App
