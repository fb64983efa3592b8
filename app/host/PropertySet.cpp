#include "app/host/PropertySet.h"

#include <algorithm>
#include <array>
#include <mutex>
#include <stdexcept>

namespace TQ::App {
namespace {

// A property of varying size grows to the index written; beyond this an index is taken for a mistake.
constexpr int maximumElements = 4096;
// Texts that each thread keeps alive after reading them.
constexpr std::size_t lentTexts = 256;

template <typename Element>
std::vector<Element> Repeat(const PropertyRow& row, Element value) {
    return std::vector<Element>(static_cast<std::size_t>(row.dimension), value);
}

}  // namespace

SharedText MakeText(std::string_view text) {
    return std::make_shared<const std::string>(text);
}

char* LendText(SharedText text) {
    thread_local std::array<SharedText, lentTexts> lent;
    thread_local std::size_t next = 0;
    SharedText& place = lent[next];
    next = (next + 1) % lentTexts;
    place = std::move(text);
    // The suite's signature is older than const; plug-ins must not write here.
    return const_cast<char*>(place->c_str());
}

void PropertySet::Define(std::span<const PropertyRow> rows) {
    for (const PropertyRow& row : rows) {
        Define(row);
    }
}

void PropertySet::Define(const PropertyRow& row) {
    Property property;
    property.dimension = row.dimension;
    property.writable = row.writable;
    switch (row.type) {
        case PropertyType::Int:
            property.values = Repeat(row, static_cast<int>(row.number));
            break;
        case PropertyType::Double:
            property.values = Repeat(row, row.number);
            break;
        case PropertyType::Pointer:
            property.values = Repeat<void*>(row, nullptr);
            break;
        case PropertyType::Text:
            property.values = Repeat(row, MakeText(row.text));
            break;
    }
    property.defaults = property.values;
    std::unique_lock lock(_mutex);
    _properties.insert_or_assign(row.name, std::move(property));
}

void PropertySet::CopyFrom(const PropertySet& other) {
    std::unique_lock lock(_mutex, std::defer_lock);
    std::shared_lock otherLock(other._mutex, std::defer_lock);
    std::lock(lock, otherLock);
    for (auto& [name, property] : _properties) {
        auto place = other._properties.find(name);
        if (place != other._properties.end() && place->second.values.index() == property.values.index()) {
            property.values = place->second.values;
        }
    }
}

void PropertySet::Hollow(std::string_view name) {
    std::unique_lock lock(_mutex);
    Property& property = Required(name);
    property.hollow = true;
    std::visit([](auto& values) { values.clear(); }, property.values);
}

void PropertySet::Remove(std::string_view name) {
    std::unique_lock lock(_mutex);
    const auto place = _properties.find(name);
    if (place != _properties.end()) {
        _properties.erase(place);
    }
}

bool PropertySet::Has(std::string_view name) const {
    std::shared_lock lock(_mutex);
    return _properties.find(name) != _properties.end();
}

PropertySet::Property* PropertySet::Find(const char* name) {
    auto place = name ? _properties.find(std::string_view(name)) : _properties.end();
    return place == _properties.end() ? nullptr : &place->second;
}

const PropertySet::Property* PropertySet::Find(const char* name) const {
    return const_cast<PropertySet*>(this)->Find(name);
}

PropertySet::Property& PropertySet::Required(std::string_view name) {
    auto place = _properties.find(name);
    if (place == _properties.end()) {
        throw std::logic_error("no property " + std::string(name));
    }
    return place->second;
}

template <typename Element>
void PropertySet::SetAll(std::string_view name, std::vector<Element> values) {
    std::unique_lock lock(_mutex);
    Property& property = Required(name);
    if (!std::holds_alternative<std::vector<Element>>(property.values)) {
        throw std::logic_error("property " + std::string(name) + " has another type");
    }
    property.values = std::move(values);
}

void PropertySet::SetInts(std::string_view name, std::vector<int> values) {
    SetAll(name, std::move(values));
}
void PropertySet::SetDoubles(std::string_view name, std::vector<double> values) {
    SetAll(name, std::move(values));
}
void PropertySet::SetPointer(std::string_view name, void* value) {
    SetAll(name, std::vector<void*>{value});
}

void PropertySet::SetTexts(std::string_view name, const std::vector<std::string>& values) {
    std::vector<SharedText> texts;
    for (const std::string& value : values) {
        texts.push_back(MakeText(value));
    }
    SetAll(name, std::move(texts));
}

template <typename Element>
Element PropertySet::Get(std::string_view name, int index) const {
    std::shared_lock lock(_mutex);
    const Property& property = const_cast<PropertySet*>(this)->Required(name);
    const auto& values = std::get<std::vector<Element>>(property.values);
    return static_cast<std::size_t>(index) < values.size() ? values[static_cast<std::size_t>(index)]
                                                           : Element();
}

int PropertySet::Int(std::string_view name, int index) const {
    return Get<int>(name, index);
}
double PropertySet::Double(std::string_view name, int index) const {
    return Get<double>(name, index);
}
void* PropertySet::Pointer(std::string_view name) const {
    return Get<void*>(name, 0);
}

std::string PropertySet::Text(std::string_view name, int index) const {
    const SharedText text = Get<SharedText>(name, index);
    return text ? *text : std::string();
}

std::vector<std::string> PropertySet::Texts(std::string_view name) const {
    std::shared_lock lock(_mutex);
    const Property& property = const_cast<PropertySet*>(this)->Required(name);
    std::vector<std::string> texts;
    for (const SharedText& text : std::get<std::vector<SharedText>>(property.values)) {
        texts.push_back(*text);
    }
    return texts;
}

std::vector<double> PropertySet::Numbers(std::string_view name) const {
    std::shared_lock lock(_mutex);
    const Property& property = const_cast<PropertySet*>(this)->Required(name);
    if (const auto* integers = std::get_if<std::vector<int>>(&property.values)) {
        return {integers->begin(), integers->end()};
    }
    return std::get<std::vector<double>>(property.values);
}

template <typename Element>
OfxStatus PropertySet::Write(const char* name, int index, const Element& value) {
    std::unique_lock lock(_mutex);
    Property* property = Find(name);
    if (!property) {
        return kOfxStatErrUnknown;
    }
    auto* values = std::get_if<std::vector<Element>>(&property->values);
    if (!values || !property->writable) {
        return kOfxStatErrValue;
    }
    const int limit = property->dimension ? property->dimension : maximumElements;
    if (index < 0 || index >= limit) {
        return kOfxStatErrBadIndex;
    }
    const auto place = static_cast<std::size_t>(index);
    if (place >= values->size()) {
        // Elements skipped on the way get a copy, so that a text is never null.
        values->resize(place + 1, value);
    }
    (*values)[place] = value;
    return kOfxStatOK;
}

template <typename Element>
OfxStatus PropertySet::WriteAll(const char* name, int count, const Element* elements) {
    std::unique_lock lock(_mutex);
    Property* property = Find(name);
    if (!property) {
        return kOfxStatErrUnknown;
    }
    auto* values = std::get_if<std::vector<Element>>(&property->values);
    if (!values || !property->writable) {
        return kOfxStatErrValue;
    }
    const int limit = property->dimension ? property->dimension : maximumElements;
    if (count < 0 || count > limit) {
        return kOfxStatErrBadIndex;
    }
    if (property->dimension == 0) {
        values->assign(elements, elements + count);
    } else {
        std::copy(elements, elements + count, values->begin());
    }
    return kOfxStatOK;
}

template <typename Element>
OfxStatus PropertySet::Read(const char* name, int index, Element& value) const {
    std::shared_lock lock(_mutex);
    const Property* property = Find(name);
    if (!property) {
        return kOfxStatErrUnknown;
    }
    const auto* values = std::get_if<std::vector<Element>>(&property->values);
    if (!values) {
        return kOfxStatErrValue;
    }
    if (property->hollow) {
        return kOfxStatOK;
    }
    if (index < 0 || static_cast<std::size_t>(index) >= values->size()) {
        return kOfxStatErrBadIndex;
    }
    value = (*values)[static_cast<std::size_t>(index)];
    return kOfxStatOK;
}

template <typename Element>
OfxStatus PropertySet::ReadAll(const char* name, int count, Element* elements) const {
    std::shared_lock lock(_mutex);
    const Property* property = Find(name);
    if (!property) {
        return kOfxStatErrUnknown;
    }
    const auto* values = std::get_if<std::vector<Element>>(&property->values);
    if (!values) {
        return kOfxStatErrValue;
    }
    if (property->hollow) {
        return kOfxStatOK;
    }
    if (count < 0 || static_cast<std::size_t>(count) > values->size()) {
        return kOfxStatErrBadIndex;
    }
    std::copy(values->begin(), values->begin() + count, elements);
    return kOfxStatOK;
}

OfxStatus PropertySet::Reset(const char* name) {
    std::unique_lock lock(_mutex);
    Property* property = Find(name);
    if (!property) {
        return kOfxStatErrUnknown;
    }
    if (!property->writable) {
        return kOfxStatErrValue;
    }
    property->values = property->defaults;
    return kOfxStatOK;
}

OfxStatus PropertySet::Dimension(const char* name, int& count) const {
    std::shared_lock lock(_mutex);
    const Property* property = Find(name);
    if (!property) {
        return kOfxStatErrUnknown;
    }
    count = static_cast<int>(std::visit([](const auto& values) { return values.size(); }, property->values));
    return kOfxStatOK;
}

#define SL_INSTANTIATE_ACCESS(Element)                                          \
    template OfxStatus PropertySet::Write(const char*, int, const Element&);    \
    template OfxStatus PropertySet::WriteAll(const char*, int, const Element*); \
    template OfxStatus PropertySet::Read(const char*, int, Element&) const;     \
    template OfxStatus PropertySet::ReadAll(const char*, int, Element*) const;

SL_INSTANTIATE_ACCESS(int)
SL_INSTANTIATE_ACCESS(double)
SL_INSTANTIATE_ACCESS(SharedText)
template OfxStatus PropertySet::Write(const char*, int, void* const&);
template OfxStatus PropertySet::WriteAll(const char*, int, void* const*);
template OfxStatus PropertySet::Read(const char*, int, void*&) const;
template OfxStatus PropertySet::ReadAll(const char*, int, void**) const;

}  // namespace TQ::App
