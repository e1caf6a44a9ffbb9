// Changing and removing keys.
#include "tests/unit/Configuration/ConfigurationFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using ConfigurationSetTest = ConfigurationFixture;

TEST_F(ConfigurationSetTest, ANewString) {
    const auto store = Over("{}");
    EXPECT_EQ(Printed([&] { EXPECT_FALSE(store->Set("name", "v{}%s")); }),
              "Configuration setting name was not found\n"
              "Key name does not exists\n");
    EXPECT_EQ(Document(*store), R"({"name":"v{}%s"})");
    EXPECT_EQ(mFolder.Read("settings.json"), "{}");
}

TEST_F(ConfigurationSetTest, TheSameStringAgain) {
    const auto store = Over(R"({"name":"v"})");
    EXPECT_EQ(Printed([&] { EXPECT_TRUE(store->Set("name", "v")); }),
              "Key name exists - value: v\n"
              "Key, name, values are identical\n");
    EXPECT_EQ(Document(*store), R"({"name":"v"})");
}

TEST_F(ConfigurationSetTest, AnotherString) {
    const auto store = Over(R"({"name":"old","z":1})");
    EXPECT_EQ(Printed([&] { EXPECT_FALSE(store->Set("name", "new")); }),
              "Key name exists - value: old\n"
              "Key, name, values are different.  Removing old and replacing whith new\n"
              "Removing instance of name\n");
    EXPECT_EQ(Document(*store), R"({"z":1,"name":"new"})");
}

TEST_F(ConfigurationSetTest, StringsAreShownFromVerbosityZero) {
    VeltrixErrorLog::gVerbosity = -1;
    const auto store = Over(R"({"name":"old"})");
    EXPECT_EQ(Printed([&] {
                  EXPECT_TRUE(store->Set("name", "old"));
                  EXPECT_FALSE(store->Set("name", "new"));
                  EXPECT_FALSE(store->Set("other", "text"));
              }),
              "");
    EXPECT_EQ(Document(*store), R"({"name":"new","other":"text"})");
}

TEST_F(ConfigurationSetTest, AStringOverANumberLeavesBoth) {
    const auto store = Over(R"({"k":5})");
    EXPECT_EQ(Printed([&] { EXPECT_FALSE(store->Set("k", "text")); }), "Key k does not exists\n");
    EXPECT_THAT(mLog.Take(), ElementsAre(Warning("cJSON type was not cJSON_string. key: k")));
    EXPECT_EQ(Document(*store), R"({"k":5,"k":"text"})");
    std::string text;
    EXPECT_FALSE(store->Get("k", text));
    EXPECT_THAT(mLog.Take(), ElementsAre(Warning("cJSON type was not cJSON_string. key: k")));
    EXPECT_FALSE(store->Set("k", "text"));
    EXPECT_EQ(Document(*store), R"({"k":5,"k":"text","k":"text"})");
}

TEST_F(ConfigurationSetTest, ANewNumber) {
    VeltrixErrorLog::gVerbosity = 2;
    const auto store = Over("{}");
    EXPECT_EQ(Printed([&] { EXPECT_FALSE(store->Set("n", 2.5)); }),
              "Configuration setting n was not found\n"
              "Set(): Key n does not exists creating new\n");
    EXPECT_EQ(Document(*store), R"({"n":2.5})");
}

TEST_F(ConfigurationSetTest, TheSameNumberAgain) {
    VeltrixErrorLog::gVerbosity = 2;
    const auto store = Over(R"({"n":2.5})");
    EXPECT_EQ(Printed([&] { EXPECT_TRUE(store->Set("n", 2.5)); }),
              "Key n exists - value: 2.5\n"
              "Key, n, values are identical\n");
    EXPECT_EQ(Document(*store), R"({"n":2.5})");
}

TEST_F(ConfigurationSetTest, AnotherNumber) {
    VeltrixErrorLog::gVerbosity = 2;
    const auto store = Over(R"({"n":1234567,"z":1})");
    EXPECT_EQ(Printed([&] { EXPECT_FALSE(store->Set("n", 0.000012345678)); }),
              "Key n exists - value: 1.23457e+06\n"
              "Key, n, values are different.  Removing 1.23457e+06 and replacing whith 1.23457e-05\n"
              "Removing instance of n\n");
    double number = 0;
    EXPECT_TRUE(store->Get("n", number));
    EXPECT_EQ(number, 0.000012345678);
}

TEST_F(ConfigurationSetTest, NumbersAreShownFromVerbosityTwo) {
    VeltrixErrorLog::gVerbosity = 1;
    const auto store = Over(R"({"n":1})");
    EXPECT_EQ(Printed([&] { EXPECT_FALSE(store->Set("n", 2.0)); }), "Removing instance of n\n");
    EXPECT_EQ(Printed([&] { EXPECT_TRUE(store->Set("n", 2.0)); }), "");
}

TEST_F(ConfigurationSetTest, ANumberReplacesAnItemOfAnotherType) {
    VeltrixErrorLog::gVerbosity = 2;
    for (const std::string old : {"\"text\"", "true", "false", "null", "[1]", "{\"a\":1}"}) {
        const auto store = Over("{\"n\":" + old + "}");
        EXPECT_EQ(Printed([&] { EXPECT_FALSE(store->Set("n", 1)); }),
                  "Removing instance of n\n"
                  "Set(): Key n does not exists creating new\n")
            << old;
        EXPECT_EQ(Document(*store), R"({"n":1})") << old;
        EXPECT_THAT(mLog.Take(), IsEmpty());
    }
}

TEST_F(ConfigurationSetTest, ANumberReplacesEveryItemOfItsKey) {
    const auto store = Over(R"({"n":1,"n":"text","n":3})");
    EXPECT_EQ(Printed([&] { EXPECT_FALSE(store->Set("n", 2)); }),
              "Removing instance of n\nRemoving instance of n\nRemoving instance of n\n");
    EXPECT_EQ(Document(*store), R"({"n":2})");
}

TEST_F(ConfigurationSetTest, ABoolIsStoredAsANumber) {
    const auto store = Over("{}");
    EXPECT_EQ(Printed([&] { EXPECT_FALSE(store->bSet("x", true)); }),
              "Configuration setting x was not found\n"
              "Set(): Key x does not exists creating new\n");
    EXPECT_TRUE(store->Save());
    EXPECT_EQ(mFolder.Read("settings.json"), "{\n\t\"x\":\t1\n}");
    bool flag = false;
    EXPECT_TRUE(store->bGet("x", flag));
    EXPECT_TRUE(flag);
}

TEST_F(ConfigurationSetTest, TheSameAndAnotherBool) {
    const auto store = Over(R"({"x":1})");
    EXPECT_EQ(Printed([&] { EXPECT_TRUE(store->bSet("x", true)); }),
              "Key x exists - value: 1\n"
              "Key, x, values are identical\n");
    EXPECT_EQ(Printed([&] { EXPECT_FALSE(store->bSet("x", false)); }),
              "Key x exists - value: 1\n"
              "Key, x, values are different.  Removing 1 and replacing whith 0\n"
              "Removing instance of x\n");
    EXPECT_EQ(Document(*store), R"({"x":0})");
    VeltrixErrorLog::gVerbosity = -1;
    EXPECT_EQ(Printed([&] { EXPECT_FALSE(store->bSet("x", true)); }), "");
}

TEST_F(ConfigurationSetTest, OnlyTheNumberOneIsEqualToTrue) {
    const auto store = Over(R"({"x":2,"y":true})");
    EXPECT_EQ(Printed([&] { EXPECT_FALSE(store->bSet("x", true)); }),
              "Key x exists - value: 2\n"
              "Key, x, values are different.  Removing 2 and replacing whith 1\n"
              "Removing instance of x\n");
    EXPECT_EQ(Printed([&] { EXPECT_FALSE(store->bSet("y", true)); }),
              "Removing instance of y\n"
              "Set(): Key y does not exists creating new\n");
    EXPECT_EQ(Document(*store), R"({"x":1,"y":1})");
}

TEST_F(ConfigurationSetTest, AnItemOfAnInvalidTypeIsReplaced) {
    const auto store = Over(R"({"x":2})");
    cJSON_GetObjectItemCaseSensitive(store->mp_cJson, "x")->type = cJSON_Invalid;
    EXPECT_FALSE(store->Set("x", 3));
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("cJSON type is invalid in Get() method. key = x")));
    EXPECT_EQ(Document(*store), R"({"x":3})");
}

TEST_F(ConfigurationSetTest, RemoveDeletesEveryItemAndItsResultMeansNothing) {
    const auto store = Over(R"({"a":1,"A":2,"a":"x","b":3})");
    EXPECT_EQ(Printed([&] { EXPECT_FALSE(store->Remove("a")); }), "Removing instance of a\nRemoving instance of a\n");
    EXPECT_EQ(Document(*store), R"({"A":2,"b":3})");
    EXPECT_EQ(Printed([&] { EXPECT_FALSE(store->Remove("a")); }), "");
    VeltrixErrorLog::gVerbosity = -1;
    EXPECT_EQ(Printed([&] { EXPECT_FALSE(store->Remove("b")); }), "");
    EXPECT_EQ(Document(*store), R"({"A":2})");
}

}  // namespace
