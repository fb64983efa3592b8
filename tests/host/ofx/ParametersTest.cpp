#include <filesystem>
#include <fstream>

#include "host/ofx/TestEffect.h"
#include "ip/records/Exception.h"
#include "platform/Platform.h"

namespace Test {

class ParametersTest : public BridgeTest {
  protected:
    void SetUp() override { Start(); }
    /// Runs `body` on the parameter list of one action.
    void InAction(std::function<void(Ofx::Parameters&)> body) {
        const OfxStatus status = Purge([&](Ofx::Host& effect) {
            auto list = effect.createParameters();
            effect.defineParameters(*list);
            body(*list);
        });
        EXPECT_EQ(status, kOfxStatOK);
    }
};

TEST_F(ParametersTest, AreDefinedAsTheirDescriptionsSay) {
    const FakeProperties& blur = fake.ParameterNamed("blur").properties;
    EXPECT_EQ(blur.Get<std::string>(kOfxParamPropDoubleType)[0], kOfxParamDoubleTypeX);
    EXPECT_EQ(blur.Get<std::string>(kOfxParamPropDefaultCoordinateSystem)[0], kOfxParamCoordinatesCanonical);
    EXPECT_EQ(blur.Get<double>(kOfxParamPropDisplayMax)[0], 50.0);
    EXPECT_EQ(blur.Get<int>(kOfxParamPropDigits)[0], 2);
    EXPECT_EQ(blur.Get<int>(kOfxParamPropPluginMayWrite)[0], 1);
    EXPECT_EQ(blur.Get<std::string>(kOfxPropLabel)[0], "Blur");
    EXPECT_FALSE(blur.Has(kOfxParamPropEnabled));
    const FakeProperties& inGroup = fake.ParameterNamed("useIt").properties;
    EXPECT_EQ(inGroup.Get<std::string>(kOfxParamPropParent)[0], "More");
    EXPECT_EQ(inGroup.Get<int>(kOfxParamPropEnabled)[0], 0);
    EXPECT_EQ(inGroup.Get<int>(kOfxParamPropAnimates)[0], 0);
    EXPECT_FALSE(fake.ParameterNamed("tint").properties.Has(kOfxParamPropParent));
    EXPECT_EQ(fake.ParameterNamed("More").properties.Get<int>(kOfxParamPropGroupOpen)[0], 0);
    EXPECT_FALSE(fake.ParameterNamed("More").properties.Has(kOfxParamPropScriptName));
    EXPECT_EQ(fake.ParameterNamed("preSet").properties.Get<std::string>(kOfxParamPropChoiceOption).size(),
              3U);
}

TEST_F(ParametersTest, HostsWithPagesGetNoGroups) {
    fake.parameters.clear();
    fake.host.Put(kOfxParamHostPropPageRowColumnCount, std::vector<int>{4, 3});
    fake.inArgs.Put(kOfxImageEffectPropContext, kOfxImageEffectContextFilter);
    fake.Run(entry, kOfxImageEffectActionDescribeInContext);
    EXPECT_FALSE(fake.HasParameter("More"));
    EXPECT_FALSE(fake.ParameterNamed("useIt").properties.Has(kOfxParamPropParent));
}

TEST_F(ParametersTest, FirstReadIsRawAndLaterOnesAreLimited) {
    fake.parameters["blur"].numbers = {80.0};
    InAction([&](Ofx::Parameters& list) {
        EXPECT_EQ(list.getDouble(1), 80.0);
        EXPECT_EQ(list.getDouble(1), 50.0);
        EXPECT_EQ(fake.ParameterNamed("blur").reads, 1);
        list.setDouble(90.0, 1);
        EXPECT_EQ(list.getDouble(1), 90.0);  // asks the host again after a write
    });
    InAction([](Ofx::Parameters& list) { EXPECT_EQ(list.getDouble(1), 90.0); });
    fake.ParameterNamed("blur").animation = [](double time) { return 2 * time; };
    InAction([](Ofx::Parameters& list) {
        EXPECT_EQ(list.getDoubleAt(1, 40.0), 80.0);
        EXPECT_EQ(list.getDoubleAt(1, 40.0), 80.0);
        EXPECT_EQ(list.getDouble(1), 90.0);
    });
}

TEST_F(ParametersTest, EveryTypeTravelsToTheHostAndBack) {
    InAction([](Ofx::Parameters& list) {
        EXPECT_EQ(list.getInt(0), 1);
        EXPECT_TRUE(list.getBool(4));
        EXPECT_EQ(list.getText(5), "say \"x\"\\");
        EXPECT_EQ(list.getColour(7)[1], 0.5);
        list.setInt(2, 0);
        list.setBool(false, 4);
        list.setText("new", 5);
        list.setColour({1, 2, 3}, 7);
        list.setPoint({4, 5}, 8);
        EXPECT_EQ(list.getInt(0), 2);
        EXPECT_FALSE(list.getBool(4));
        EXPECT_EQ(list.getText(5), "new");
        EXPECT_EQ(list.getColour(7)[2], 3.0);
        EXPECT_EQ(list.getPoint(8)[1], 5.0);
        list.resetToDefaults();
        EXPECT_EQ(list.getInt(0), 1);
        EXPECT_EQ(list.getPoint(8)[1], -2.0);
        list.setEnabled(true, 4);
        list.setSecret(true, 5);
        EXPECT_THROW(list.clipParameterIndex(0), std::invalid_argument);
        EXPECT_EQ(list.scriptName(3), "More");
    });
    EXPECT_EQ(fake.ParameterNamed("useIt").properties.Get<int>(kOfxParamPropEnabled)[0], 1);
    EXPECT_EQ(fake.ParameterNamed("note").properties.Get<int>(kOfxParamPropSecret)[0], 1);
    fake.parameters.erase("blur");
    EXPECT_EQ(Purge([](Ofx::Host& effect) {
                  auto list = effect.createParameters();
                  effect.defineParameters(*list);
                  list->setDouble(1.0, 1);
              }),
              kOfxStatErrUnknown);
}

TEST_F(ParametersTest, ValuesAtATimeArePlainInAssimilator) {
    InAction([](Ofx::Parameters& list) { list.setDoubleAt(7.0, 1, 12.0); });
    EXPECT_EQ(fake.ParameterNamed("blur").properties.Get<double>("setAtTime")[0], 12.0);
    fake.ParameterNamed("blur").properties.values.erase("setAtTime");
    fake.host.Put(kOfxPropName, "Assimilator");
    InAction([](Ofx::Parameters& list) { list.setDoubleAt(8.0, 1, 12.0); });
    EXPECT_FALSE(fake.ParameterNamed("blur").properties.Has("setAtTime"));
    EXPECT_EQ(fake.ParameterNamed("blur").numbers[0], 8.0);
}

TEST_F(ParametersTest, NameTablesGoByIdThenByLabel) {
    struct Named : TestEffect {
        using TestEffect::TestEffect;
        std::vector<TQ::Host::Param::ParameterName> byId, byLabel;
        std::span<const TQ::Host::Param::ParameterName> parameterNamesById() const override { return byId; }
        std::span<const TQ::Host::Param::ParameterName> parameterNamesByLabel() const override {
            return byLabel;
        }
    };
    Named effect(script);
    effect.byId = {{5, "fromId", "", "", "a hint"}};
    effect.byLabel = {{0, "fromLabel", "Some Label", "", nullptr}};
    const auto listOf = [&](int id) {
        auto list = std::make_unique<Ofx::Parameters>(effect);
        auto description = ParameterDescription::MakeBoolean("Some Label", true, 0);
        description.id = id;
        list->add(description);
        return list;
    };
    EXPECT_EQ(listOf(5)->scriptName(0), "fromId");
    EXPECT_STREQ(listOf(5)->hintOf(0), "a hint");
    EXPECT_EQ(listOf(6)->scriptName(0), "fromLabel");
    effect.byId.insert(effect.byId.begin(), {0, "first", "", "", nullptr});  // an id of 0 empties the table
    EXPECT_EQ(listOf(5)->scriptName(0), "fromLabel");
    effect.byLabel.clear();
    EXPECT_EQ(listOf(5)->scriptName(0), "someLabel");
}

class ParameterFileTest : public ParametersTest {
  protected:
    ~ParameterFileTest() override { std::filesystem::remove(path); }
    std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("parameters" + std::to_string(TQ::Platform::ProcessId()));
    void Write(const std::string& text) { std::ofstream(path, std::ios::binary) << text; }
};

TEST_F(ParameterFileTest, KeepsWhatIsSaved) {
    InAction([&](Ofx::Parameters& list) {
        list.setDouble(12.25, 1);
        list.setColour({0.5, 0.25, 0.125}, 7);
        list.save(path, "Test", "3.0.1");
    });
    std::ifstream file(path);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    EXPECT_EQ(text,
              "Plugin Name: Test\nVersion Number: 3.0.1\nPre Set: 1\nBlur: 12.25\nTime Radius: 2\n"
              "Note: \"say \\\"x\\\"\\\\\"\nTint: 0.5, 0.25, 0.125\nCentre: 1.5, -2\n");
    InAction([&](Ofx::Parameters& list) {
        list.resetToDefaults();
        list.setText("", 5);
        list.load(path);
        EXPECT_EQ(list.getDouble(1), 12.25);
        EXPECT_EQ(list.getText(5), "say \"x\"\\");
        EXPECT_EQ(list.getColour(7)[2], 0.125);
    });
}

TEST_F(ParameterFileTest, SkipsWhatItDoesNotUnderstand) {
    Write(
        "Plugin Name: Other\r\nVersion Number: 9\r\nNo Such: 5\r\nBlur: many\nTime Radius: 7 8\nPre Set: "
        "2\r\njunk\n");
    InAction([&](Ofx::Parameters& list) {
        list.load(path);
        EXPECT_EQ(list.getInt(0), 2);
        EXPECT_EQ(list.getDouble(1), 3.0);
        EXPECT_EQ(list.getInt(2), 2);
        Write("something else");
        EXPECT_THROW(list.load(path), TQ::Exception);
        EXPECT_THROW(list.load(path / "missing"), TQ::Exception);
        EXPECT_THROW(list.save(path / "missing", "Test", "1"), TQ::Exception);
    });
}

}  // namespace Test
