#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "host/ofx/abi/OfxParam.h"

namespace TQ::Host::Param {

/// Kinds of parameters. The values are those of the effects' parameter lists; 12, 14 and 15 are kinds that no
/// effect here uses and that are never saved.
enum class ParameterType : std::int32_t {
    Integer = 1,
    Double = 2,
    Boolean = 3,
    Text = 4,
    Choice = 5,
    Path = 6,
    Colour = 7,
    Point = 8,
    GroupStart = 9,
    GroupEnd = 10,
    Clip = 11,
    Button = 13,
};

/// Bits of ParameterDescription::flags. Where no bit is set the host's own default holds.
namespace ParameterFlag {
constexpr std::uint32_t doubleScale = 0x1;
constexpr std::uint32_t doubleAngle = 0x2;  ///< wins over the other kinds of doubles
constexpr std::uint32_t doubleX = 0x4;      ///< a length along x, its default in canonical coordinates
constexpr std::uint32_t doubleY = 0x8;
constexpr std::uint32_t startsDisabled = 0x10;  ///< also: not saved to parameter files
constexpr std::uint32_t secret = 0x20;
constexpr std::uint32_t notAnimated = 0x40;
constexpr std::uint32_t groupOpen = 0x100;
constexpr std::uint32_t callbackOnChange = 0x400;  ///< Host::parameterChanged is called for edits of the user
constexpr std::uint32_t noUndo = 0x1000;
constexpr std::uint32_t noEvaluate = 0x2000;
constexpr std::uint32_t notPersistent = 0x4000;
constexpr std::uint32_t doubleTime = 0x10000;
constexpr std::uint32_t doubleAbsoluteTime = 0x20000;
constexpr std::uint32_t pluginWrites = 0x40000;
constexpr std::uint32_t fineIncrement = 0x1000000;
}  // namespace ParameterFlag

/// A value of any type: booleans and integers use the first number, points two, colours three.
struct ParameterValue {
    std::array<double, 3> numbers{};
    std::string text;

    int Int() const { return static_cast<int>(numbers[0]); }
    bool Bool() const { return numbers[0] != 0.0; }
    double Double() const { return numbers[0]; }
    static ParameterValue Number(double value) { return {{value, 0.0, 0.0}, {}}; }
    static ParameterValue String(std::string value) { return {{}, std::move(value)}; }
};

using Colour = std::array<double, 3>;  ///< red, green, blue
using Point = std::array<double, 2>;   ///< x, y in canonical coordinates

/// One parameter: what the host is told, and the value.
struct ParameterDescription {
    ParameterType type = ParameterType::Integer;
    std::string name;  ///< label; the script name is made from it
    int id = 0;        ///< row of the effect's name table; 0: none
    std::vector<std::string> choiceLabels;
    ParameterValue value, defaultValue, minValue, maxValue, displayMin, displayMax;
    std::uint32_t flags = 0;
    double increment = 1.0;  ///< 0.01 with fineIncrement

    bool Has(std::uint32_t flag) const { return (flags & flag) != 0; }

    static ParameterDescription MakeInteger(std::string name, int value, int min, int max,
                                            std::uint32_t flags);
    static ParameterDescription MakeDouble(std::string name, double value, double min, double max,
                                           double displayMin, double displayMax, std::uint32_t flags);
    static ParameterDescription MakeBoolean(std::string name, bool value, std::uint32_t flags);
    /// The largest value is the last option's index.
    static ParameterDescription MakeChoice(std::string name, int value, std::vector<std::string> labels,
                                           std::uint32_t flags);
    /// `type` is Text or Path.
    static ParameterDescription MakeText(std::string name, std::string value, std::uint32_t flags,
                                         ParameterType type = ParameterType::Text);
    static ParameterDescription MakeColour(std::string name, const Colour& value, std::uint32_t flags);
    static ParameterDescription MakePoint(std::string name, const Point& value, std::uint32_t flags);
    static ParameterDescription MakeGroupStart(std::string name, std::uint32_t flags);
    static ParameterDescription MakeGroupEnd();
    static ParameterDescription MakeClip(std::string name);
    static ParameterDescription MakeButton(std::string name, std::uint32_t flags);
};

/// A row of an effect's name table.
struct ParameterName {
    int id;
    const char* scriptName;
    const char* label;
    const char* shortLabel;
    const char* hint;  ///< null: none
};

/// A list of parameters with values in memory. All access is by list index; an index outside the list throws
/// std::out_of_range. One thread at a time.
class Parameters {
  public:
    Parameters() = default;
    virtual ~Parameters();
    Parameters(const Parameters&) = default;
    Parameters& operator=(const Parameters&) = default;

    void add(ParameterDescription description) { descriptions.push_back(std::move(description)); }
    std::size_t size() const { return descriptions.size(); }
    const ParameterDescription& description(std::size_t index) const { return descriptions.at(index); }

    /// Every value becomes its default.
    virtual void resetToDefaults();
    /// Writes the values as text lines "label: value" behind two lines that name plug-in and version.
    /// Parameters that start disabled, groups and the types that isTypeSaved refuses are left out. The file
    /// appears under its name only when it is complete. Throws TQ::Exception when it cannot be written.
    virtual void save(const std::filesystem::path& path, const std::string& pluginName,
                      const std::string& version);
    /// Reads such a file: unknown labels and values that do not parse are skipped. Throws TQ::Exception when
    /// the file cannot be read or is no parameter file; no value has changed then.
    virtual void load(const std::filesystem::path& path);
    virtual void commitAll() {}   ///< after all values of a file have been taken over
    virtual void refreshAll() {}  ///< before values are written to a file
    virtual void pushAll();
    virtual void commitEach();
    virtual void copyFrom(const Parameters& other);
    virtual bool isTypeSaved(ParameterType type) const;

    /// The value at `time`; here the same at every time.
    virtual double getDoubleAt(std::size_t index, double time);
    virtual double getDouble(std::size_t index);
    virtual int getIntAt(std::size_t index, double time);  ///< integers and choices
    virtual int getInt(std::size_t index);
    virtual bool getBoolAt(std::size_t index, double time);
    virtual bool getBool(std::size_t index);
    virtual std::string getTextAt(std::size_t index, double time);
    virtual std::string getText(std::size_t index);
    virtual Colour getColourAt(std::size_t index, double time);
    virtual Colour getColour(std::size_t index);
    virtual Point getPointAt(std::size_t index, double time);
    virtual Point getPoint(std::size_t index);
    virtual std::string getPathAt(std::size_t index, double time);
    virtual std::string getPath(std::size_t index);

    virtual void setDoubleAt(double value, std::size_t index, double time);
    virtual void setDouble(double value, std::size_t index);
    virtual void setIntAt(int value, std::size_t index, double time);  ///< integers and choices
    virtual void setInt(int value, std::size_t index);
    virtual void setBoolAt(bool value, std::size_t index, double time);
    virtual void setBool(bool value, std::size_t index);
    virtual void setColourAt(const Colour& value, std::size_t index, double time);
    virtual void setColour(const Colour& value, std::size_t index);
    virtual void setPointAt(const Point& value, std::size_t index, double time);
    virtual void setPoint(const Point& value, std::size_t index);
    virtual void setTextAt(const std::string& value, std::size_t index, double time);  ///< texts and paths
    virtual void setText(const std::string& value, std::size_t index);

    virtual void setEnabled(bool enabled, std::size_t index);  ///< whether the user can edit it
    virtual void setSecret(bool secret, std::size_t index);    ///< whether the user cannot see it
    virtual bool isSuspended() const { return false; }         ///< true: commitValue waits

    /// The list index of the `n`-th parameter of type Clip; throws std::invalid_argument past the end.
    std::size_t clipParameterIndex(std::size_t n) const;
    const std::string& labelOf(std::size_t index) const { return descriptions.at(index).name; }

  protected:
    /// Hands the stored value to whoever keeps the values; nothing here, where the list itself does.
    virtual void pushValue(std::size_t index);
    /// pushValue, unless suspended.
    virtual void commitValue(std::size_t index);
    ParameterValue& stored(std::size_t index) { return descriptions.at(index).value; }

    std::vector<ParameterDescription> descriptions;

  private:
    std::string valueAsText(std::size_t index);
    bool takeText(std::size_t index, const std::string& text);
};

}  // namespace TQ::Host::Param

namespace TQ::Host::OFX {

class Host;

/// The parameter list of one action, bound to the host's parameters: values are read from the host at the
/// first read of the action and kept, and written to the host at once. Failures of the host throw Error.
class Parameters : public Param::Parameters {
  public:
    /// `host` is looked at and outlives the list.
    explicit Parameters(Host& host) : _host(&host) {}

    bool isTypeSaved(Param::ParameterType type) const override;

    /// Getters at a time always ask the host.
    double getDoubleAt(std::size_t index, double time) override;
    /// The first read of an action answers the host's value as it is. It is kept limited to the display
    /// range, and that is what later reads of the same action answer.
    double getDouble(std::size_t index) override;
    int getIntAt(std::size_t index, double time) override;
    int getInt(std::size_t index) override;
    bool getBoolAt(std::size_t index, double time) override;
    bool getBool(std::size_t index) override;
    std::string getTextAt(std::size_t index, double time) override;
    std::string getText(std::size_t index) override;
    Param::Colour getColourAt(std::size_t index, double time) override;
    Param::Colour getColour(std::size_t index) override;
    Param::Point getPointAt(std::size_t index, double time) override;
    Param::Point getPoint(std::size_t index) override;
    std::string getPathAt(std::size_t index, double time) override;
    std::string getPath(std::size_t index) override;

    void setDoubleAt(double value, std::size_t index, double time) override;
    void setDouble(double value, std::size_t index) override;
    void setIntAt(int value, std::size_t index, double time) override;
    void setInt(int value, std::size_t index) override;
    void setBoolAt(bool value, std::size_t index, double time) override;
    void setBool(bool value, std::size_t index) override;
    void setColourAt(const Param::Colour& value, std::size_t index, double time) override;
    void setColour(const Param::Colour& value, std::size_t index) override;
    void setPointAt(const Param::Point& value, std::size_t index, double time) override;
    void setPoint(const Param::Point& value, std::size_t index) override;
    void setTextAt(const std::string& value, std::size_t index, double time) override;
    void setText(const std::string& value, std::size_t index) override;
    void setEnabled(bool enabled, std::size_t index) override;
    void setSecret(bool secret, std::size_t index) override;

    /// The name under which the host and its scripts know the parameter: the label without blanks and with a
    /// small first letter, or the label itself where there is none (groups and clips).
    const std::string& scriptName(std::size_t index);
    /// Whether the parameter has a script name of its own.
    bool hasScriptName(std::size_t index);
    /// The index of the parameter that the host knows as `name`; size() when there is none.
    std::size_t findByScriptName(const std::string& name);
    /// The hint of the effect's name table; null when there is none.
    const char* hintOf(std::size_t index) const;

  protected:
    void pushValue(std::size_t index) override;

  private:
    void buildScriptNames();
    OfxParamHandle handleOf(std::size_t index, OfxPropertySetHandle* properties = nullptr);
    bool isRead(std::size_t index) const { return index < _readMask.size() && _readMask[index]; }
    void markRead(std::size_t index);
    void forget(std::size_t index);
    void writeState(const char* property, bool value, std::size_t index);
    template <class... Values>
    void read(std::size_t index, Values*... values);
    template <class... Values>
    void readAt(std::size_t index, double time, Values*... values);
    template <class... Values>
    void write(std::size_t index, Values... values);
    template <class... Values>
    void writeAt(std::size_t index, double time, Values... values);

    Host* _host;
    std::vector<std::string> _scriptNames;  ///< empty until asked for
    std::vector<bool> _readMask;
};

}  // namespace TQ::Host::OFX
