// Reading keys, and what counts as enabled.
#include "tests/unit/Configuration/ConfigurationFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using ConfigurationGetTest = ConfigurationFixture;

const char* const kEveryType =
    R"({"no":false,"yes":true,"nothing":null,"number":-2.5,"zero":0,"text":"Hi","list":[7],"object":{"k":8},"void":[]})";

TEST_F(ConfigurationGetTest, EveryOperationWithoutADocument) {
    const auto store = Over("");
    std::string text;
    void* value = nullptr;
    int type = 0;
    double number = 0;
    bool flag = false;
    EXPECT_FALSE(store->KeyExists("a"));
    EXPECT_FALSE(store->Get("a", text));
    EXPECT_FALSE(store->Get("a", value, type));
    EXPECT_FALSE(store->Get("a", number));
    EXPECT_FALSE(store->bGet("a", flag));
    const LogLine inGet = Error("cJson is nullptr in Get(string, string)");
    EXPECT_THAT(mLog.Take(), ElementsAre(inGet, inGet, inGet, inGet, inGet));
    EXPECT_FALSE(store->Set("a", "b"));
    EXPECT_FALSE(store->Set("a", 1.0));
    EXPECT_FALSE(store->bSet("a", true));
    const LogLine inSet = Error("cJson is nullptr in Set(string, string)");
    EXPECT_THAT(mLog.Take(), ElementsAre(inSet, inSet, inSet));
    EXPECT_FALSE(store->Remove("a"));
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("cJson is nullptr in Remove(key)")));
    EXPECT_EQ(Printed([&] { EXPECT_FALSE(store->IsEnabled("a")); }), "Key not found in file\n");
    EXPECT_THAT(mLog.Take(), ElementsAre(inGet, inGet));
}

TEST_F(ConfigurationGetTest, KeysAreFoundInTheirCaseOnly) {
    const auto store = Over(R"({"Core":1})");
    EXPECT_TRUE(store->KeyExists("Core"));
    EXPECT_FALSE(store->KeyExists("core"));
    EXPECT_FALSE(store->KeyExists("Cor"));
    EXPECT_FALSE(store->KeyExists(""));
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(ConfigurationGetTest, AStringIsCopied) {
    const auto store = Over(R"({"a":"", "b":"caf\u00e9 {} %s"})");
    std::string text = "before";
    EXPECT_TRUE(store->Get("a", text));
    EXPECT_EQ(text, "");
    EXPECT_TRUE(store->Get("b", text));
    EXPECT_EQ(text, "caf\xC3\xA9 {} %s");
}

TEST_F(ConfigurationGetTest, AMissingKeyIsToldOnTheConsole) {
    const auto store = Over("{}");
    std::string text = "before";
    void* value = nullptr;
    int type = 99;
    double number = 7;
    bool flag = true;
    const std::string line = "Configuration setting Core was not found\n";
    EXPECT_EQ(Printed([&] { EXPECT_FALSE(store->Get("Core", text)); }), line);
    EXPECT_EQ(Printed([&] { EXPECT_FALSE(store->Get("Core", value, type)); }), line);
    EXPECT_EQ(Printed([&] { EXPECT_FALSE(store->Get("Core", number)); }), line);
    EXPECT_EQ(Printed([&] { EXPECT_FALSE(store->bGet("Core", flag)); }), line);
    VeltrixErrorLog::gVerbosity = -1;
    EXPECT_EQ(Printed([&] {
                  EXPECT_FALSE(store->Get("Core", text));
                  EXPECT_FALSE(store->Get("Core", value, type));
              }),
              "");
    EXPECT_EQ(text, "before");
    EXPECT_EQ(number, 7);
    EXPECT_TRUE(flag);
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(ConfigurationGetTest, OnlyStringsAreReadAsStrings) {
    const auto store = Over(kEveryType);
    for (const std::string key : {"no", "yes", "nothing", "number", "list", "object"}) {
        std::string text = "before";
        EXPECT_FALSE(store->Get(key, text));
        EXPECT_EQ(text, "before");
        EXPECT_THAT(mLog.Take(), ElementsAre(Warning("cJSON type was not cJSON_string. key: " + key)));
    }
}

TEST_F(ConfigurationGetTest, EveryTypeIsReadByPointer) {
    const auto store = Over(kEveryType);
    void* value = nullptr;
    int type = 0;
    ASSERT_TRUE(store->Get("no", value, type));
    EXPECT_EQ(type, 1);
    EXPECT_FALSE(*static_cast<bool*>(value));
    ASSERT_TRUE(store->Get("yes", value, type));
    EXPECT_EQ(type, 2);
    EXPECT_TRUE(*static_cast<bool*>(value));
    ASSERT_TRUE(store->Get("nothing", value, type));
    EXPECT_EQ(type, 4);
    EXPECT_EQ(value, nullptr);
    ASSERT_TRUE(store->Get("number", value, type));
    EXPECT_EQ(type, 8);
    EXPECT_EQ(*static_cast<double*>(value), -2.5);
    ASSERT_TRUE(store->Get("text", value, type));
    EXPECT_EQ(type, 16);
    EXPECT_STREQ(static_cast<char*>(value), "Hi");
    ASSERT_TRUE(store->Get("list", value, type));
    EXPECT_EQ(type, 32);
    EXPECT_EQ(static_cast<cJSON*>(value)->valuedouble, 7);
    ASSERT_TRUE(store->Get("object", value, type));
    EXPECT_EQ(type, 64);
    EXPECT_STREQ(static_cast<cJSON*>(value)->string, "k");
    ASSERT_TRUE(store->Get("void", value, type));
    EXPECT_EQ(type, 32);
    EXPECT_EQ(value, nullptr);
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(ConfigurationGetTest, RawTextIsReadByPointerAndFlagsAreMaskedOff) {
    const auto store = Over("{}");
    cJSON_AddRawToObject(store->mp_cJson, "raw", "[1]");
    cJSON_GetObjectItemCaseSensitive(store->mp_cJson, "raw")->type |= cJSON_StringIsConst;
    void* value = nullptr;
    int type = 0;
    ASSERT_TRUE(store->Get("raw", value, type));
    cJSON_GetObjectItemCaseSensitive(store->mp_cJson, "raw")->type = cJSON_Raw;
    EXPECT_EQ(type, 128);
    EXPECT_STREQ(static_cast<char*>(value), "[1]");
}

TEST_F(ConfigurationGetTest, InvalidAndUnknownTypesAreLogged) {
    const auto store = Over(R"({"a":1})");
    cJSON* const item = cJSON_GetObjectItemCaseSensitive(store->mp_cJson, "a");
    void* value = nullptr;
    int type = 99;
    item->type = cJSON_Invalid;
    EXPECT_FALSE(store->Get("a", value, type));
    EXPECT_EQ(type, 0);
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("cJSON type is invalid in Get() method. key = a")));
    item->type = cJSON_False | cJSON_True;
    EXPECT_FALSE(store->Get("a", value, type));
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("cJSON type is unknown in Get() method. key = a")));
    double number = 7;
    EXPECT_FALSE(store->Get("a", number));
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("cJSON type is unknown in Get() method. key = a")));
    item->type = cJSON_Number;
}

TEST_F(ConfigurationGetTest, NumbersAreReadAsNumbersAndBools) {
    const auto store = Over(kEveryType);
    double number = 0;
    bool flag = false;
    EXPECT_TRUE(store->Get("number", number));
    EXPECT_EQ(number, -2.5);
    EXPECT_TRUE(store->bGet("number", flag));
    EXPECT_TRUE(flag);
    EXPECT_TRUE(store->bGet("zero", flag));
    EXPECT_FALSE(flag);
}

TEST_F(ConfigurationGetTest, OtherTypesAreNoNumbers) {
    const struct {
        const char* key;
        const char* type;
    } rows[] = {{"no", "1"}, {"yes", "2"}, {"nothing", "4"}, {"text", "16"}, {"list", "32"}, {"object", "64"}};
    const auto store = Over(kEveryType);
    for (const auto& row : rows) {
        double number = 7;
        bool flag = true;
        const LogLine line =
            Error(std::string("Invalid type ") + row.type + " when getting numeric value with key = " + row.key);
        EXPECT_FALSE(store->Get(row.key, number));
        EXPECT_FALSE(store->bGet(row.key, flag));
        EXPECT_EQ(number, 7);
        EXPECT_TRUE(flag);
        EXPECT_THAT(mLog.Take(), ElementsAre(line, line));
    }
}

TEST_F(ConfigurationGetTest, ANumberWithoutAValueIsLogged) {
    double number = 7;
    EXPECT_FALSE(OpenConfiguration::NumberFrom("a", nullptr, cJSON_Number, number));
    EXPECT_EQ(number, 7);
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Get() returned a nullptr for a numeric object. key = a")));
}

TEST_F(ConfigurationGetTest, NumbersOtherThanZeroAreEnabled) {
    const auto store = Over(R"({"one":1,"two":2,"zero":0,"half":0.5})");
    EXPECT_EQ(Printed([&] {
                  EXPECT_TRUE(store->IsEnabled("one"));
                  EXPECT_TRUE(store->IsEnabled("two"));
                  EXPECT_FALSE(store->IsEnabled("zero"));
                  EXPECT_TRUE(store->IsEnabled("half"));
              }),
              "");
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

TEST_F(ConfigurationGetTest, TheWordsTrueAndEnableAreEnabledInAnyCase) {
    const struct {
        const char* text;
        const char* lower;
        bool enabled;
    } rows[] = {{"true", "true", true},     {"TRUE", "true", true},        {"Enable", "enable", true},
                {"enable", "enable", true}, {"yes", "yes", false},         {"1", "1", false},
                {"on", "on", false},        {"enabled", "enabled", false}, {"", "", false},
                {"false", "false", false},  {"true ", "true ", false},     {"\xC3\x84", "\xC3\x84", false}};
    for (const auto& row : rows) {
        const auto store = Over(std::string(R"({"x":")") + row.text + R"("})");
        EXPECT_EQ(Printed([&] { EXPECT_EQ(store->IsEnabled("x"), row.enabled) << row.text; }),
                  std::string("\r\n*** key:x, value:") + row.text + " ***\r\n\nvalue converted to lower: \"" +
                      row.lower + "\"\n");
        EXPECT_THAT(mLog.Take(), ElementsAre(Error("Invalid type 16 when getting numeric value with key = x")));
    }
}

TEST_F(ConfigurationGetTest, TheLiteralTrueIsNotEnabled) {
    const auto store = Over(R"({"x":true})");
    EXPECT_EQ(Printed([&] { EXPECT_FALSE(store->IsEnabled("x")); }), "Key not found in file\n");
    EXPECT_THAT(mLog.Take(), ElementsAre(Error("Invalid type 2 when getting numeric value with key = x"),
                                         Warning("cJSON type was not cJSON_string. key: x")));
}

TEST_F(ConfigurationGetTest, AMissingKeyIsNotEnabled) {
    const auto store = Over("{}");
    EXPECT_EQ(Printed([&] { EXPECT_FALSE(store->IsEnabled("x")); }),
              "Configuration setting x was not found\n"
              "Configuration setting x was not found\n"
              "Key not found in file\n");
}

TEST_F(ConfigurationGetTest, IsEnabledIsQuietBelowTheVerbosity) {
    VeltrixErrorLog::gVerbosity = -1;
    const auto store = Over(R"({"x":"true"})");
    EXPECT_EQ(Printed([&] {
                  EXPECT_TRUE(store->IsEnabled("x"));
                  EXPECT_FALSE(store->IsEnabled("y"));
              }),
              "");
}

}  // namespace
