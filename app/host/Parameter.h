#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "app/host/Effect.h"
#include "app/host/Handles.h"
#include "app/host/PropertySet.h"
#include "app/host/PropertyTables.h"
#include "host/ofx/abi/OfxParam.h"

namespace TQ::App {

class ParameterSet;

/// A parameter of an effect's description or of an instance; only the latter has a value. Any number of
/// threads.
class Parameter : public HandleOwner<Parameter, OfxParamHandle> {
  public:
    /// Components as the suite moves them; a boolean or choice is one int.
    struct Value {
        std::vector<int> integers;
        std::vector<double> doubles;
        SharedText text;
    };

    Parameter(ParameterSet& owner, const ParameterType& type, const std::string& name);
    /// The same parameter in another set, with the default as its value.
    Parameter(ParameterSet& owner, const Parameter& other);

    const std::string& Name() const { return _name; }
    const ParameterType& Type() const { return _type; }
    ParameterSet& Owner() { return _owner; }
    PropertySet& Properties() { return _properties; }
    const PropertySet& Properties() const { return _properties; }
    std::vector<std::string> Options() const;

    Value Get() const;
    /// Numbers are brought into the range of the parameter. kOfxStatErrValue for a choice or text that is no
    /// option.
    OfxStatus Set(Value value);

    ParameterDescription Describe() const;
    ParameterState State() const;

  private:
    bool IsOption(const std::string& value) const;
    Value DefaultValue() const;

    ParameterSet& _owner;
    const ParameterType& _type;
    const std::string _name;
    PropertySet _properties;
    mutable std::mutex _mutex;
    Value _value;
};

/// The parameters of one description or instance, in the order of their definition.
class ParameterSet : public HandleOwner<ParameterSet, OfxParamSetHandle> {
  public:
    ParameterSet() : _properties(ParameterSetRows()) {}
    /// Who watches over what the plug-in writes into an instance's parameters.
    class Watcher {
      public:
        virtual ~Watcher() = default;
        /// Whether the plug-in may write at this point of its life.
        virtual bool MayWrite() const = 0;
        /// The plug-in wrote a value; on the thread that wrote.
        virtual void Written(Parameter& parameter) = 0;
    };
    /// Parameters of an instance. The watcher outlives the set.
    ParameterSet(const ParameterSet& description, Watcher& watcher);

    /// Null when there is a parameter of that name, or this set does not take new ones.
    Parameter* Define(const ParameterType& type, const std::string& name);
    /// From now on no parameters may be defined.
    void Close() { _open = false; }
    bool IsOpen() const { return _open; }
    Parameter* Find(std::string_view name) const;
    const std::vector<std::unique_ptr<Parameter>>& All() const { return _parameters; }
    PropertySet& Properties() { return _properties; }
    /// The plug-in writes a parameter; kOfxStatErrUnsupported when it may not now.
    OfxStatus Write(Parameter& parameter, Parameter::Value value);
    bool IsInstance() const { return _watcher != nullptr; }

  private:
    bool _open = true;
    PropertySet _properties;
    std::vector<std::unique_ptr<Parameter>> _parameters;
    Watcher* _watcher = nullptr;
};

/// The value that a user's text means for a parameter. Throws HostError that names what would be valid.
Parameter::Value ParseValue(const Parameter& parameter, std::string_view text);
/// A value for people.
std::string FormatValue(const Parameter& parameter, const Parameter::Value& value);
/// "Integer" for "OfxParamTypeInteger".
std::string ShortTypeName(std::string_view type);

}  // namespace TQ::App
