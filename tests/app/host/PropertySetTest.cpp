#include "app/host/PropertySet.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "app/host/Suites.h"

namespace TQ::App {
namespace {

class PropertySetTest : public testing::Test {
  protected:
    PropertySetTest() {
        set.Define(Writable(IntRow("pair", 7, 2)));
        set.Define(Writable(TextRow("list", "", 0)));
        set.Define(Writable(TextRow("name", "first")));
        set.Define(DoubleRow("fixed", 1.5));
        handle = set.AsHandle();
    }

    PropertySet set;
    OfxPropertySetHandle handle = nullptr;
    int number = -1;
    double real = -1;
    char* text = nullptr;
};

TEST_F(PropertySetTest, AnswersMistakesWithTheStandardsStatuses) {
    EXPECT_EQ(propertySuite.propGetInt(handle, "unknown", 0, &number), kOfxStatErrUnknown);
    EXPECT_EQ(propertySuite.propSetInt(handle, "unknown", 0, 1), kOfxStatErrUnknown);
    EXPECT_EQ(propertySuite.propGetInt(handle, nullptr, 0, &number), kOfxStatErrUnknown);
    EXPECT_EQ(propertySuite.propGetInt(handle, "pair", 2, &number), kOfxStatErrBadIndex);
    EXPECT_EQ(propertySuite.propGetInt(handle, "pair", -1, &number), kOfxStatErrBadIndex);
    EXPECT_EQ(propertySuite.propSetInt(handle, "pair", 2, 1), kOfxStatErrBadIndex);
    EXPECT_EQ(propertySuite.propSetString(handle, "list", 1 << 20, "far"), kOfxStatErrBadIndex);
    EXPECT_EQ(propertySuite.propGetDouble(handle, "pair", 0, &real), kOfxStatErrValue);
    EXPECT_EQ(propertySuite.propGetInt(handle, "pair", 0, nullptr), kOfxStatErrValue);
    EXPECT_EQ(propertySuite.propSetDouble(handle, "fixed", 0, 2), kOfxStatErrValue);
    EXPECT_EQ(propertySuite.propSetString(handle, "name", 0, nullptr), kOfxStatErrValue);
    EXPECT_EQ(propertySuite.propGetStringN(handle, "list", 1, &text), kOfxStatErrBadIndex);
    EXPECT_EQ(propertySuite.propReset(nullptr, "pair"), kOfxStatErrBadHandle);
    EXPECT_EQ(number, -1);
    EXPECT_EQ(real, -1);
}

TEST_F(PropertySetTest, ListsGrowAndReset) {
    const char* const names[] = {"a", "b", "c"};
    EXPECT_EQ(propertySuite.propSetStringN(handle, "list", 3, names), kOfxStatOK);
    EXPECT_EQ(propertySuite.propSetString(handle, "list", 3, "d"), kOfxStatOK);
    EXPECT_EQ(set.Texts("list"), (std::vector<std::string>{"a", "b", "c", "d"}));
    EXPECT_EQ(propertySuite.propGetDimension(handle, "list", &number), kOfxStatOK);
    EXPECT_EQ(number, 4);
    EXPECT_EQ(propertySuite.propReset(handle, "list"), kOfxStatOK);
    EXPECT_TRUE(set.Texts("list").empty());

    const int values[] = {1, 2, 3};
    EXPECT_EQ(propertySuite.propSetIntN(handle, "pair", 3, values), kOfxStatErrBadIndex);
    EXPECT_EQ(propertySuite.propSetIntN(handle, "pair", 1, values), kOfxStatOK);
    int read[2] = {};
    EXPECT_EQ(propertySuite.propGetIntN(handle, "pair", 2, read), kOfxStatOK);
    EXPECT_EQ(read[0], 1);
    EXPECT_EQ(read[1], 7);
}

TEST_F(PropertySetTest, AHollowPropertyLeavesTheCallersValueAlone) {
    set.Hollow("pair");
    int read[2] = {-5, -6};
    EXPECT_EQ(propertySuite.propGetDimension(handle, "pair", &number), kOfxStatOK);
    EXPECT_EQ(number, 0);
    EXPECT_EQ(propertySuite.propGetIntN(handle, "pair", 2, read), kOfxStatOK);
    EXPECT_EQ(read[0], -5);
    EXPECT_EQ(read[1], -6);
}

TEST_F(PropertySetTest, ATextThatWasReadOutlivesLaterWrites) {
    // Long enough to stand in memory of its own, which the later texts would take over.
    const std::string first(100, 'a');
    propertySuite.propSetString(handle, "name", 0, first.c_str());
    ASSERT_EQ(propertySuite.propGetString(handle, "name", 0, &text), kOfxStatOK);
    for (char letter = 'b'; letter <= 'z'; ++letter) {
        propertySuite.propSetString(handle, "name", 0, std::string(100, letter).c_str());
    }
    EXPECT_EQ(text, first);
}

TEST_F(PropertySetTest, ReadersAndAWriterDoNotDisturbEachOther) {
    std::vector<std::thread> readers;
    std::atomic<int> torn{0};
    for (int t = 0; t < 3; ++t) {
        readers.emplace_back([&] {
            for (int i = 0; i < 2000; ++i) {
                char* seen = nullptr;
                propertySuite.propGetString(handle, "name", 0, &seen);
                const std::string value = seen;
                torn += value != "first" && value != "another, and much longer than the one before";
            }
        });
    }
    for (int i = 0; i < 2000; ++i) {
        propertySuite.propSetString(handle, "name", 0,
                                    i % 2 ? "first" : "another, and much longer than the one before");
    }
    for (std::thread& reader : readers) {
        reader.join();
    }
    EXPECT_EQ(torn, 0);
}

}  // namespace
}  // namespace TQ::App
