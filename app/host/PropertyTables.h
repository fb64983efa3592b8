#pragma once

#include <span>
#include <string>
#include <string_view>

#include "app/host/PropertySet.h"

namespace TQ::App {

/// The properties that the standard gives each kind of object, with their defaults.
std::span<const PropertyRow> HostRows();
std::span<const PropertyRow> EffectDescriptorRows();
std::span<const PropertyRow> EffectInstanceRows();
std::span<const PropertyRow> ClipRows();
std::span<const PropertyRow> ImageRows();
std::span<const PropertyRow> ParameterSetRows();
/// What hosts that know of devices add to host, descriptor and instance, and to the arguments of renders.
std::span<const PropertyRow> DeviceSupportRows();
std::span<const PropertyRow> DeviceArgumentRows();

/// What a parameter's value is made of.
enum class ValueKind { None, Boolean, Int, Choice, Double, Text };

struct ParameterType {
    const char* name;
    ValueKind kind;
    int dimension;
};

/// Null for a type that this host does not know.
const ParameterType* FindParameterType(std::string_view name);
/// The properties of a new parameter of that type.
void DefineParameter(PropertySet& properties, const ParameterType& type, const std::string& name);

}  // namespace TQ::App
