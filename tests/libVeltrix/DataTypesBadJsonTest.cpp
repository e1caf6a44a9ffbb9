// What reading makes of texts that are not as they should be.
#include <Veltrix/DataTypes.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>

namespace {

std::string Repeat(const std::string& text, std::size_t times) {
    std::string all;
    for (std::size_t i = 0; i < times; ++i) {
        all += text;
    }
    return all;
}

TEST(ReadingJson, WhiteSpaceAroundEverythingIsTaken) {
    SystemHealth health;
    EXPECT_TRUE(health.FromJson(" \t\r\n{ \"processName\" : \"A\" ,\n\"code\" : 1 } \n"));
    EXPECT_EQ(health.get_processName(), "A");
    EXPECT_EQ(health.get_code(), 1U);
}

TEST(ReadingJson, MissingFieldsKeepTheirValuesAndAreNotIllFormed) {
    SystemHealth health;
    health.set_processName("before");
    const JsonReport report = health.ReadJson(R"({"code":7})");
    EXPECT_FALSE(report.isComplete);
    EXPECT_EQ(report.problem, "");
    EXPECT_EQ(health.get_processName(), "before");
    EXPECT_EQ(health.get_code(), 7U);
    EXPECT_FALSE(health.FromJson(R"({"code":7})"));
}

TEST(ReadingJson, MissingOptionalFieldsAreNotMissed) {
    DeviceSettings settings;
    EXPECT_TRUE(settings.FromJson("{}"));
    EXPECT_FALSE(settings.has_batteryVoltage());
    EXPECT_TRUE(settings.FromJson(R"({"batteryVoltage":3})"));
    EXPECT_TRUE(settings.has_batteryVoltage());
}

TEST(ReadingJson, AMissingFieldInsideMakesTheOutsideIncomplete) {
    WeldTraceData trace;
    EXPECT_FALSE(trace.FromJson(R"({"sequence":1,"data":{"amps":1,"volts":2}})"));
    EXPECT_EQ(trace.get_data().get_volts(), 2.0);
    EXPECT_EQ(trace.ReadJson(R"({"sequence":1,"data":{}})").problem, "");
    WeldTriggerEnd end;
    EXPECT_TRUE(end.FromJson(R"({"tag":1,"metrics":{"ArcDuration":{"value":4}}})")) << "it is optional";
    EXPECT_TRUE(end.get_metrics().has_ArcDuration());
    EXPECT_EQ(end.get_metrics().get_ArcDuration().get_value(), 4.0);
}

TEST(ReadingJson, UnknownFieldsAreIgnored) {
    HALStatus status;
    EXPECT_TRUE(status.FromJson(R"({"Ready":0,"more":{"ready":[1,2,{}]},"ready":true,"":null})"));
    EXPECT_TRUE(status.get_ready());
}

TEST(ReadingJson, WhatCouldBeReadStays) {
    HALInfo info;
    EXPECT_FALSE(info.FromJson(R"({"serialNumber":"S","machineType":5,"revisionNumber":6})"));
    EXPECT_EQ(info.get_serialNumber(), "S");
    EXPECT_EQ(info.get_machineType(), "");
    EXPECT_EQ(info.get_revisionNumber(), 6U);
}

TEST(ReadingJson, OfAFieldGivenTwiceTheFirstCountsWithARemark) {
    SystemHealth health;
    const JsonReport report = health.ReadJson(R"({"processName":"A","code":1,"code":"x"})");
    EXPECT_TRUE(report.isComplete);
    EXPECT_EQ(report.problem, "");
    EXPECT_EQ(report.remark, "\"code\" is given twice, the first one counts");
    EXPECT_EQ(health.get_code(), 1U);
}

TEST(ReadingJson, TextThatIsNoUtf8IsKeptWithARemark) {
    SystemHealth health;
    const JsonReport report = health.ReadJson("{\"processName\":\"a\xFFz\",\"code\":1}");
    EXPECT_TRUE(report.isComplete);
    EXPECT_EQ(report.remark, "\"processName\" is not UTF-8");
    EXPECT_EQ(health.get_processName(), "a\xFFz");
    EXPECT_EQ(health.ToJson(), "{\"processName\":\"a\xEF\xBF\xBDz\",\"code\":1}");
}

TEST(ReadingJson, EscapesAreResolved) {
    ErrorLogType error;
    error.ReadJson(R"({"code":"\"\\\/\b\f\n\r\t\u0041\u00e9\u20AC\ud83d\udd25"})");
    EXPECT_EQ(error.get_code(), "\"\\/\b\f\n\r\tA\xC3\xA9\xE2\x82\xAC\xF0\x9F\x94\xA5");
    error.ReadJson(R"({"\u0063ode":"key"})");
    EXPECT_EQ(error.get_code(), "key");
}

TEST(ReadingJson, ATextEndsAtItsFirstNul) {
    ErrorLogType error;
    const JsonReport report = error.ReadJson(R"({"code":"a\u0000b","message":"c"})");
    EXPECT_EQ(report.problem, "");
    EXPECT_EQ(error.get_code(), "a");
    EXPECT_EQ(error.get_message(), "c");
}

TEST(ReadingJson, HalfASurrogatePairIsIllFormed) {
    for (const char* const half : {R"(\ud83d)", R"(\udd25)", R"(\ud83d\u0041)", R"(\ud83d\ud83d)"}) {
        ErrorLogType error;
        EXPECT_EQ(error.ReadJson(R"({"message":"m","code":"a)" + std::string(half) + R"(z"})").problem,
                  "no JSON object: ill-formed at byte 24")
            << half;
        EXPECT_EQ(error.get_message(), "") << half;
    }
}

TEST(ReadingJson, AMegabyteOfTextIsRead) {
    const std::string text(1 << 20, 'x');
    SystemHealth health;
    EXPECT_TRUE(health.FromJson(R"({"processName":")" + text + R"(","code":1})"));
    EXPECT_EQ(health.get_processName(), text);
}

TEST(ReadingJson, NestingIsLimitedAndDeepTextsAreNoDanger) {
    HALStatus status;
    const auto nested = [](std::size_t depth) {
        return R"({"x":)" + Repeat("[", depth) + Repeat("]", depth) + R"(,"ready":true})";
    };
    EXPECT_TRUE(status.FromJson(nested(999)));
    for (const std::size_t depth : {std::size_t{1000}, std::size_t{10'000}, std::size_t{1'000'000}}) {
        EXPECT_EQ(status.ReadJson(nested(depth)).problem, "no JSON object: ill-formed at byte 1004");
    }
    EXPECT_FALSE(status.FromJson(Repeat("[", 10'000)));
    EXPECT_FALSE(status.FromJson(Repeat(R"({"x":)", 10'000)));
}

struct NoObject {
    const char* text;
    const char* problem;
};

TEST(ReadingJson, TextThatIsNoObjectChangesNothingAndIsToldWhere) {
    const NoObject cases[] = {
        {"null", "no JSON object"},
        {"true", "no JSON object"},
        {"5", "no JSON object"},
        {"\"{}\"", "no JSON object"},
        {"[]", "no JSON object"},
        {R"([{"ready":true}])", "no JSON object"},
        {"", "no JSON object: ill-formed at byte 0"},
        {"  ", "no JSON object: ill-formed at byte 1"},
        {"ready=true", "no JSON object: ill-formed at byte 0"},
        {"{", "no JSON object: ill-formed at byte 0"},
        {R"({"ready")", "no JSON object: ill-formed at byte 7"},
        {R"({"ready":)", "no JSON object: ill-formed at byte 8"},
        {R"({"ready":true)", "no JSON object: ill-formed at byte 12"},
        {R"({"ready":true,)", "no JSON object: ill-formed at byte 13"},
        {R"({"ready":true,})", "no JSON object: ill-formed at byte 14"},
        {R"({"ready" true})", "no JSON object: ill-formed at byte 9"},
        {R"({"ready":true]})", "no JSON object: ill-formed at byte 13"},
        {R"({"ready":true,"x":[1,]})", "no JSON object: ill-formed at byte 21"},
        {R"({"ready":true,"x":[1}})", "no JSON object: ill-formed at byte 20"},
        {R"({ready:true})", "no JSON object: ill-formed at byte 2"},
        {R"({'ready':true})", "no JSON object: ill-formed at byte 2"},
        {R"({"ready":True})", "no JSON object: ill-formed at byte 9"},
        {R"({"ready":tru})", "no JSON object: ill-formed at byte 9"},
        {R"({"ready":true,"x":+1})", "no JSON object: ill-formed at byte 18"},
        {R"({"ready":true,"x":.5})", "no JSON object: ill-formed at byte 18"},
        {R"({"ready":true,"x":-})", "no JSON object: ill-formed at byte 18"},
        {R"({"ready":true,"x":1e})", "no JSON object: ill-formed at byte 19"},
        {R"({"ready":true,"x":NaN})", "no JSON object: ill-formed at byte 18"},
        {R"({"ready":true,"x":Infinity})", "no JSON object: ill-formed at byte 18"},
        {R"({"ready":true,"x":-Infinity})", "no JSON object: ill-formed at byte 18"},
        {R"({"ready":true,"x":0x10})", "no JSON object: ill-formed at byte 19"},
        {R"({"ready":true,"x":"\q"})", "no JSON object: ill-formed at byte 19"},
        {R"({"ready":true,"x":"\u12)", "no JSON object: ill-formed at byte 19"},
        {R"({"ready":true,"x":"abc)", "no JSON object: ill-formed at byte 19"},
        {R"({"ready":true /* yes */})", "no JSON object: ill-formed at byte 14"},
        {R"({"ready":true,"x":"\)", "no JSON object: ill-formed at byte 19"},
        {R"({"ready":true} x)", "no JSON object: more text behind the object at byte 15"},
        {R"({"ready":true}{})", "no JSON object: more text behind the object at byte 14"},
    };
    for (const NoObject& wrong : cases) {
        HALStatus status;
        const JsonReport report = status.ReadJson(wrong.text);
        EXPECT_EQ(report.problem, wrong.problem) << wrong.text;
        EXPECT_FALSE(report.isComplete) << wrong.text;
        EXPECT_FALSE(status.get_ready()) << wrong.text;
    }
}

TEST(ReadingJson, BehindTheObjectNulsAreNoWhiteSpace) {
    HALStatus status;
    EXPECT_EQ(status.ReadJson(std::string_view("{\"ready\":true}\0", 15)).problem,
              "no JSON object: more text behind the object at byte 14");
    EXPECT_FALSE(status.FromJson(std::string("{\"ready\":true}\x01")));
    EXPECT_FALSE(status.FromJson(std::string("\0", 1)));
    EXPECT_FALSE(status.FromJson(std::string("\0{}", 3) + "x"));
    EXPECT_FALSE(status.get_ready());
}

TEST(ReadingJson, ATextMayBePartOfALargerOne) {
    HALStatus status;
    const std::string_view larger = R"({"ready":true,"ready":false}})";
    EXPECT_TRUE(status.ReadJson(larger.substr(0, larger.size() - 1)).isComplete);
    EXPECT_TRUE(status.get_ready());
    EXPECT_EQ(status.ReadJson(larger.substr(0, 14)).problem, "no JSON object: ill-formed at byte 13");
    EXPECT_EQ(status.ReadJson(std::string_view()).problem, "no JSON object: ill-formed at byte 0");
}

// The parser is not strict everywhere.
TEST(ReadingJson, SomeTextsThatAreNotQuiteJsonAreTaken) {
    const std::string texts[] = {
        "\xEF\xBB\xBF{\"ready\":true}",    std::string("\0{\"ready\":\0true}", 16),
        "{\"ready\":true,\"x\":\"a\nb\"}", R"({"ready":true,"x":01})",
        R"({"ready":true,"x":5.})",        R"({"ready":true,"x":-.5})",
        R"({"ready":true,"x":"\u12g4"})",
    };
    for (const std::string& text : texts) {
        HALStatus status;
        EXPECT_EQ(status.ReadJson(text).problem, "") << text;
        EXPECT_TRUE(status.get_ready()) << text;
    }
}

// A class with a field of every type.
class Everything : public VeltrixDataTypeBase {
    VELTRIX_FIELDS(Everything, (Optional, bool, flag), (Optional, std::int32_t, i32), (Optional, std::uint32_t, u32),
                   (Optional, std::int64_t, i64), (Optional, double, number), (Optional, std::string, text),
                   (Optional, DateTime, time), (Optional, WeldTraceDataPoint, point))
};

TEST(ReadingJson, AFieldOfAnotherTypeIsIllFormed) {
    struct Type {
        const char* name;
        const char* good;
        const char* problem;
    };
    const Type types[] = {
        {"flag", "true", " is not true or false"},
        {"i32", "5", " is not a number"},
        {"u32", "5", " is not a number"},
        {"i64", "5", " is not a number"},
        {"number", "5", " is not a number"},
        {"text", R"("abc")", " is not text"},
        {"time", R"("2025-03-04T05:06:07Z")", " is not a time"},
        {"point", R"({"amps":1})", " is not an object"},
    };
    const std::string values[] = {"null", "true", "5", R"("abc")", "[]", R"({"amps":1})"};
    for (const Type& type : types) {
        const std::string start = std::string("{\"") + type.name + "\":";
        Everything good;
        EXPECT_EQ(good.ReadJson(start + type.good + "}").problem, "") << type.name;
        for (const std::string& value : values) {
            const bool isNumber = type.problem == std::string(" is not a number");
            if (value == type.good || (isNumber && value == "5")) {
                continue;
            }
            Everything object;
            const JsonReport report = object.ReadJson(start + value + "}");
            EXPECT_EQ(report.problem, std::string("\"") + type.name + "\"" + type.problem) << value;
            EXPECT_TRUE(report.isComplete) << "it is optional";
            EXPECT_EQ(object.ToJson(), "{}") << type.name << " " << value;
        }
    }
}

TEST(ReadingJson, IllFormedFieldsInsideAreNamedWithTheirPath) {
    WeldTriggerEnd end;
    EXPECT_EQ(end.ReadJson(R"({"tag":1,"metrics":{"AverageWFS":{"unit":"IPM","value":"5"}}})").problem,
              "\"metrics.AverageWFS.value\" is not a number");
}

struct NumberCase {
    const char* field;
    const char* text;
    const char* written;  // as it is written again; null when it is ill-formed
    const char* problem;
};

TEST(ReadingJson, NumbersMustFitTheirFields) {
    constexpr const char* kRange = "is out of range";
    constexpr const char* kWhole = "is not a whole number";
    const NumberCase cases[] = {
        {"i32", "0", "0", ""},
        {"i32", "-0", "0", ""},
        {"i32", "5.0", "5", ""},
        {"i32", "5.000", "5", ""},
        {"i32", "5e2", "500", ""},
        {"i32", "5.25e2", "525", ""},
        {"i32", "500E-2", "5", ""},
        {"i32", "0e999999999999999999999", "0", ""},
        {"i32", "2147483647", "2147483647", ""},
        {"i32", "-2147483648", "-2147483648", ""},
        {"i32", "2147483648", nullptr, kRange},
        {"i32", "-2147483649", nullptr, kRange},
        {"i32", "1e10", nullptr, kRange},
        {"i32", "1e999999999999999999999", nullptr, kRange},
        {"i32", "5.5", nullptr, kWhole},
        {"i32", "-0.25", nullptr, kWhole},
        {"i32", "5.000000000000001", nullptr, kWhole},
        // Nearer to a whole number than doubles go.
        {"i32", "4.99999999999999999999999999", "5", ""},
        {"i32", "1e-999", "0", ""},
        {"u32", "4294967295", "4294967295", ""},
        {"u32", "-0", "0", ""},
        {"u32", "4294967296", nullptr, kRange},
        {"u32", "-1", nullptr, kRange},
        {"i64", "9007199254740992", "9007199254740992", ""},
        {"i64", "-9007199254740992", "-9007199254740992", ""},
        {"i64", "9007199254740991", "9007199254740991", ""},
        // The next one has no double of its own and counts as its neighbour.
        {"i64", "9007199254740993", "9007199254740992", ""},
        {"i64", "9007199254740994", nullptr, kRange},
        {"i64", "-9007199254740994", nullptr, kRange},
        {"i64", "9223372036854775807", nullptr, kRange},
        {"i64", "99999999999999999999999999999999999999999", nullptr, kRange},
        {"number", "-0.0", "-0", ""},
        {"number", "1.7976931348623157e308", "1.7976931348623157e+308", ""},
        {"i64", "1e999", nullptr, kRange},
        {"i64", "-1e999", nullptr, kRange},
        {"number", "1e309", nullptr, kRange},
        {"number", "-1e309", nullptr, kRange},
        {"number", "1e-999", "0", ""},
        {"number", "-1e-999", "-0", ""},
        {"number", "9007199254740993", "9007199254740992", ""},
    };
    for (const NumberCase& number : cases) {
        const std::string start = std::string("{\"") + number.field + "\":";
        Everything object;
        const JsonReport report = object.ReadJson(start + number.text + "}");
        if (number.written == nullptr) {
            EXPECT_EQ(report.problem, std::string("\"") + number.field + "\" " + number.problem) << number.text;
            EXPECT_EQ(object.ToJson(), "{}") << number.text;
        } else {
            EXPECT_EQ(report.problem, "") << number.text;
            EXPECT_EQ(object.ToJson(), start + number.written + "}") << number.text;
        }
    }
}

// Releases of the parser differ in whether numbers of more than 63 characters are ill-formed.
TEST(ReadingJson, LongNumbersAreNoDanger) {
    Everything object;
    EXPECT_EQ(object.ReadJson(R"({"i32":)" + std::string(63, '9') + "}").problem, "\"i32\" is out of range");
    EXPECT_EQ(object.ReadJson(R"({"number":0.)" + std::string(61, '3') + "}").problem, "");
    EXPECT_EQ(object.get_number(), 1.0 / 3.0);
    for (const std::size_t length : {std::size_t{64}, std::size_t{400}, std::size_t{1} << 20}) {
        EXPECT_NE(object.ReadJson(R"({"i32":)" + std::string(length, '9') + "}").problem, "") << length;
        EXPECT_FALSE(object.has_i32()) << length;
    }
    EXPECT_NE(object.ReadJson(R"({"number":)" + std::string(1 << 20, '9') + "}").problem, "");
    EXPECT_EQ(object.get_number(), 1.0 / 3.0);
}

TEST(ReadingJson, DamagedTextsAreNeverADanger) {
    const std::string good =
        R"({"flag":true,"i32":-5,"text":"a\u00e9\n","time":"2025-03-04T05:06:07Z","point":{"amps":1.5e2},"x":[{}]})";
    constexpr unsigned kSeed = 20250304;
    std::mt19937 random(kSeed);
    int illFormed = 0;
    for (int i = 0; i < 20'000; ++i) {
        std::string text = good.substr(0, i % 4 == 0 ? random() % good.size() : good.size());
        for (unsigned flips = random() % 4; flips > 0 && !text.empty(); --flips) {
            text[random() % text.size()] = static_cast<char>(random() % 256);
        }
        Everything object;
        illFormed += object.ReadJson(text).problem.empty() ? 0 : 1;
        // What was kept is well formed whatever came in.
        Everything again;
        EXPECT_TRUE(again.FromJson(object.ToJson())) << "seed " << kSeed << " round " << i << ": " << text;
    }
    EXPECT_GT(illFormed, 1000);
}

}  // namespace
