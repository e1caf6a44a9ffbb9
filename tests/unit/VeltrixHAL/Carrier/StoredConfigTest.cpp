// The arc-start threshold and the file that keeps it.
#include "tests/unit/VeltrixHAL/Carrier/CarrierFixture.h"

#include <cjson/cJSON.h>

#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <ostream>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* kFile = "Veltrix/system.config";

template <typename Fixture>
class StoredConfigTestOf : public Fixture {
protected:
    StoredConfigTestOf() { std::filesystem::create_directory(this->mFolder.Path("Veltrix")); }

    std::string File() const { return this->mFolder.Read(kFile); }

    std::uint16_t ReadOver(std::uint16_t present) {
        this->mCarrier->ReadStoredConfig(present);
        return present;
    }
};

class StoredConfigTest : public StoredConfigTestOf<CarrierTest> {};
class StoredConfigOnBusTest : public StoredConfigTestOf<CarrierOnBusTest> {};

TEST_F(StoredConfigTest, TheLimitsAreThese) {
    EXPECT_EQ(TestCarrier::mDefaultArcAmpsMinThreshold, 10);
    EXPECT_EQ(TestCarrier::mDefaultArcAmpsMaxThreshold, 2000);
    EXPECT_EQ(TestCarrier::mLowestAcceptedArcMinThreshold, 8);
    EXPECT_EQ(TestCarrier::mArcMinThreshold, 10);
}

struct Threshold {
    std::uint16_t given;
    std::uint16_t kept;
    const char* file;

    friend void PrintTo(const Threshold& threshold, std::ostream* out) { *out << threshold.given; }
};

class ThresholdTest : public StoredConfigOnBusTest, public testing::WithParamInterface<Threshold> {};

TEST_P(ThresholdTest, IsTakenAnnouncedAndWritten) {
    EXPECT_THAT(Printed([&] { mCarrier->UpdateStoredConfig(GetParam().given); }), IsEmpty());
    EXPECT_EQ(TestCarrier::mArcMinThreshold, GetParam().kept);
    EXPECT_EQ(File(), GetParam().file);
    EXPECT_THAT(mLog.Take(), ElementsAre(Information("ArcThreshold set to " + std::to_string(GetParam().kept))));
    const auto settings = OnlyOn<DeviceSettings>("device_settings");
    EXPECT_EQ(settings.get_arcStartThreshold(), GetParam().kept);
    ASSERT_TRUE(settings.has_timestamp());
    ExpectNow(settings.get_timestamp());
    EXPECT_FALSE(settings.has_batteryVoltage());
    EXPECT_FALSE(settings.has_currentSensorConfig());
    EXPECT_THAT(mLine.TakeFrames(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(All, ThresholdTest,
                         testing::Values(Threshold{1, 8, "{\n\t\"ArcStartAmps\":\t8\n}"},
                                         Threshold{5, 8, "{\n\t\"ArcStartAmps\":\t8\n}"},
                                         Threshold{7, 8, "{\n\t\"ArcStartAmps\":\t8\n}"},
                                         Threshold{8, 8, "{\n\t\"ArcStartAmps\":\t8\n}"},
                                         Threshold{9, 9, "{\n\t\"ArcStartAmps\":\t9\n}"},
                                         Threshold{2000, 2000, "{\n\t\"ArcStartAmps\":\t2000\n}"},
                                         Threshold{3000, 3000, "{\n\t\"ArcStartAmps\":\t3000\n}"},
                                         Threshold{65535, 65535, "{\n\t\"ArcStartAmps\":\t65535\n}"}));

TEST_F(StoredConfigOnBusTest, ZeroRewritesTheFileAndSaysNothing) {
    TestCarrier::mArcMinThreshold = 77;
    mFolder.Write(kFile, "something else that is a good deal longer than the new content");
    mCarrier->UpdateStoredConfig(0);
    EXPECT_EQ(TestCarrier::mArcMinThreshold, 77);
    EXPECT_EQ(File(), "{\n\t\"ArcStartAmps\":\t77\n}");
    EXPECT_THAT(mLog.Take(), IsEmpty());
    EXPECT_THAT(Published("device_settings"), IsEmpty());
}

TEST_F(StoredConfigTest, NothingIsLeftBesideTheFile) {
    mCarrier->UpdateStoredConfig(20);
    mCarrier->UpdateStoredConfig(21);
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(mFolder.Path("Veltrix"))) {
        names.push_back(entry.path().filename());
    }
    EXPECT_THAT(names, ElementsAre("system.config"));
}

TEST_F(StoredConfigOnBusTest, WhereTheFileCannotBeWrittenTheValueHoldsAllTheSame) {
    std::filesystem::remove(mFolder.Path("Veltrix"));
    mCarrier->UpdateStoredConfig(30);
    EXPECT_EQ(TestCarrier::mArcMinThreshold, 30);
    EXPECT_THAT(mLog.Take(), ElementsAre(Information("ArcThreshold set to 30"),
                                         Warning("Unable to write /Veltrix/system.config. No such file or directory")));
    EXPECT_EQ(OnlyOn<DeviceSettings>("device_settings").get_arcStartThreshold(), 30);
    EXPECT_FALSE(mFolder.Exists("Veltrix"));
}

TEST_F(StoredConfigTest, TheValueIsAnnouncedBeforeItIsWritten) {
    std::filesystem::remove(mFolder.Path("Veltrix"));
    mCarrier->UpdateStoredConfig(30);
    EXPECT_THAT(mLog.Take(),
                ElementsAre(Information("ArcThreshold set to 30"),
                            Warning("Could not publish device_settings. Transport endpoint is not connected"),
                            Warning("Unable to write /Veltrix/system.config. No such file or directory")));
}

TEST_F(StoredConfigTest, AFolderInTheFilesPlaceIsAWarning) {
    mFolder.Write("Veltrix/system.config/in the way", "");
    mCarrier->UpdateStoredConfig(30);
    EXPECT_THAT(LogWith("Unable"), SizeIs(1));
    EXPECT_EQ(TestCarrier::mArcMinThreshold, 30);
}

TEST_F(StoredConfigTest, AWriteThatFailsLeavesTheOldFileAsItWas) {
    mFolder.Write(kFile, "{\"ArcStartAmps\": 44}");
    // The new content is written beside the file first.
    mFolder.Write("Veltrix/system.config.new/in the way", "");
    mCarrier->UpdateStoredConfig(30);
    EXPECT_THAT(LogWith("Unable to write /Veltrix/system.config. "), SizeIs(1));
    EXPECT_EQ(File(), "{\"ArcStartAmps\": 44}");
}

TEST_F(StoredConfigTest, WithoutTheBusTheValueIsTakenAndWritten) {
    mCarrier->UpdateStoredConfig(30);
    EXPECT_EQ(File(), "{\n\t\"ArcStartAmps\":\t30\n}");
    EXPECT_THAT(mLog.Take(),
                ElementsAre(Information("ArcThreshold set to 30"),
                            Warning("Could not publish device_settings. Transport endpoint is not connected")));
}

// Lets the JSON library have so many more allocations.
class LittleJsonMemory {
public:
    explicit LittleJsonMemory(int allocations) {
        sLeft = allocations;
        cJSON_Hooks hooks{[](std::size_t size) { return sLeft-- > 0 ? std::malloc(size) : nullptr; }, std::free};
        cJSON_InitHooks(&hooks);
    }
    ~LittleJsonMemory() { cJSON_InitHooks(nullptr); }
    LittleJsonMemory(const LittleJsonMemory&) = delete;
    LittleJsonMemory& operator=(const LittleJsonMemory&) = delete;

private:
    static int sLeft;
};

int LittleJsonMemory::sLeft = 0;

TEST_F(StoredConfigTest, WithoutMemoryForTheDocumentNothingChanges) {
    mFolder.Write(kFile, "{\"ArcStartAmps\": 44}");
    {
        const LittleJsonMemory none(0);
        mCarrier->UpdateStoredConfig(30);
    }
    EXPECT_EQ(TestCarrier::mArcMinThreshold, 10);
    EXPECT_EQ(File(), "{\"ArcStartAmps\": 44}");
    EXPECT_THAT(mLog.Take(), ElementsAre(Warning("Unable to create json object for UpdateStoredConfig()")));
}

TEST_F(StoredConfigTest, WithoutMemoryForItsContentTheFileStaysAsItWas) {
    mFolder.Write(kFile, "{\"ArcStartAmps\": 44}");
    // Enough for the document; for it and its member's name; for all but the text.
    for (const int allocations : {1, 2, 3}) {
        SCOPED_TRACE(allocations);
        {
            const LittleJsonMemory little(allocations);
            mCarrier->UpdateStoredConfig(30);
        }
        EXPECT_EQ(TestCarrier::mArcMinThreshold, 30);
        EXPECT_EQ(File(), "{\"ArcStartAmps\": 44}");
        EXPECT_THAT(LogWith("Unable"),
                    ElementsAre(Warning("Unable to write /Veltrix/system.config. Cannot allocate memory")));
    }
}

TEST_F(StoredConfigTest, WhatWasWrittenIsReadBackByTheNextStart) {
    mCarrier->UpdateStoredConfig(1234);
    TestCarrier::ResetClassState();
    const TestCarrier next(mLine.Port(), mClient);
    EXPECT_EQ(TestCarrier::mArcMinThreshold, 1234);
}

TEST_F(StoredConfigTest, WithoutAFileTheDefaultStands) {
    const TestCarrier next(mLine.Port(), mClient);
    EXPECT_EQ(TestCarrier::mArcMinThreshold, 10);
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

struct Content {
    const char* name;
    const char* text;
    std::uint16_t read;

    friend void PrintTo(const Content& content, std::ostream* out) { *out << content.name; }
};

class StoredContentTest : public StoredConfigTest, public testing::WithParamInterface<Content> {};

TEST_P(StoredContentTest, IsTakenOrLeftAlone) {
    mFolder.Write(kFile, GetParam().text);
    EXPECT_EQ(ReadOver(10), GetParam().read);
    EXPECT_THAT(mLog.Take(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    WholeNumberInRange, StoredContentTest,
    testing::Values(
        Content{"plain", "{\"ArcStartAmps\": 42}", 42}, Content{"asWritten", "{\n\t\"ArcStartAmps\":\t42\n}", 42},
        Content{"amongOthers", "{\"other\": 1, \"ArcStartAmps\": 42, \"more\": [2]}", 42},
        Content{"zero", "{\"ArcStartAmps\": 0}", 0}, Content{"belowLowest", "{\"ArcStartAmps\": 5}", 5},
        Content{"largest", "{\"ArcStartAmps\": 65535}", 65535}, Content{"fraction", "{\"ArcStartAmps\": 42.9}", 42},
        Content{"withExponent", "{\"ArcStartAmps\": 4.2e1}", 42}, Content{"textBehind", "{\"ArcStartAmps\": 42} x", 42},
        Content{"twice", "{\"ArcStartAmps\": 11, \"ArcStartAmps\": 12}", 11}));

INSTANTIATE_TEST_SUITE_P(
    NoSuchNumber, StoredContentTest,
    testing::Values(Content{"tooLarge", "{\"ArcStartAmps\": 65536}", 10},
                    Content{"negative", "{\"ArcStartAmps\": -1}", 10}, Content{"huge", "{\"ArcStartAmps\": 1e300}", 10},
                    Content{"text", "{\"ArcStartAmps\": \"42\"}", 10}, Content{"true", "{\"ArcStartAmps\": true}", 10},
                    Content{"null", "{\"ArcStartAmps\": null}", 10}, Content{"array", "{\"ArcStartAmps\": [42]}", 10},
                    Content{"object", "{\"ArcStartAmps\": {\"ArcStartAmps\": 42}}", 10},
                    Content{"lowerCase", "{\"arcstartamps\": 42}", 10},
                    Content{"upperCase", "{\"ARCSTARTAMPS\": 42}", 10}, Content{"noMember", "{}", 10},
                    Content{"notAnObject", "[42]", 10}, Content{"onlyANumber", "42", 10}));

INSTANTIATE_TEST_SUITE_P(NoJson, StoredContentTest,
                         testing::Values(Content{"empty", "", 10}, Content{"words", "ArcStartAmps 42", 10},
                                         Content{"unclosed", "{\"ArcStartAmps\": 42", 10},
                                         Content{"cutOff", "{\"ArcStartAmps\":", 10},
                                         Content{"noUtf8", "\xFF\xFE", 10}));

// Power failed while the file was written anew.
TEST_F(StoredConfigTest, AHalfWrittenSuccessorDoesNoHarm) {
    mFolder.Write(kFile, "{\"ArcStartAmps\": 44}");
    mFolder.Write("Veltrix/system.config.new", "{\n\t\"ArcStartAmps\":\t1234567890123456789");
    TestCarrier::ResetClassState();
    const TestCarrier afterRestart(mLine.Port(), mClient);
    EXPECT_EQ(TestCarrier::mArcMinThreshold, 44);
    mCarrier->UpdateStoredConfig(30);
    EXPECT_EQ(File(), "{\n\t\"ArcStartAmps\":\t30\n}");
    EXPECT_FALSE(mFolder.Exists("Veltrix/system.config.new"));
}

TEST_F(StoredConfigTest, AFolderInTheFilesPlaceIsReadAsNothing) {
    mFolder.Write("Veltrix/system.config/in the way", "");
    EXPECT_EQ(ReadOver(10), 10);
}

}  // namespace
