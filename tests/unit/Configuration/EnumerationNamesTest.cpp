#include "Common/Configuration/EnumerationNames.h"

#include <Veltrix/Enumerations.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using testing::ElementsAre;

TEST(EnumerationNamesTest, PowerSupplyStates) {
    EXPECT_THAT(kPowerSupplyStateNames,
                ElementsAre(std::string("Power-on"), std::string("Idle"), std::string("Error"),
                            std::string("Firmware-update"), std::string("Contactor-engaged"), std::string("Welding"),
                            std::string("Jog"), std::string("Purge"), std::string("Cloning-write"),
                            std::string("Cloning-read"), std::string("Library-write"), std::string("Library-read")));
    EXPECT_STREQ(kPowerSupplyStateNames[PowerSupplyState_POWER_ON], "Power-on");
    EXPECT_STREQ(kPowerSupplyStateNames[PowerSupplyState_LIBRARY_READ], "Library-read");
}

TEST(EnumerationNamesTest, GenericErrorTypes) {
    EXPECT_THAT(kGenericErrorTypeNames,
                ElementsAre(std::string("None"), std::string("Internal"), std::string("Temperature"),
                            std::string("Duty-cycle-exceeded"), std::string("Input-power-(primary)"),
                            std::string("Output-power-(secondary)"), std::string("Communication"),
                            std::string("Power-source"), std::string("Wire-feeder"), std::string("User-interface"),
                            std::string("User-settings"), std::string("Internal-system-data")));
    EXPECT_STREQ(kGenericErrorTypeNames[GenericErrorType_NONE], "None");
    EXPECT_STREQ(kGenericErrorTypeNames[GenericErrorType_SYSTEM_DATA], "Internal-system-data");
}

TEST(EnumerationNamesTest, EveryTypeOfPowerSupplyAndWireFeederHasAName) {
    for (const char* const name : kPowerSupplyTypeNames) {
        ASSERT_NE(name, nullptr);
        EXPECT_STRNE(name, "");
    }
    for (const char* const name : kFeederTypeNames) {
        ASSERT_NE(name, nullptr);
        EXPECT_STRNE(name, "");
    }
}

}  // namespace
