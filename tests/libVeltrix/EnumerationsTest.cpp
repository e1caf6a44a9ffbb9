// The values go into tables and over interfaces: they must stay.
#include <Veltrix/Enumerations.h>
#include <gtest/gtest.h>

namespace {

TEST(Enumerations, PowerSupplyStatesHaveTheirValues) {
    EXPECT_EQ(PowerSupplyState_POWER_ON, 0);
    EXPECT_EQ(PowerSupplyState_IDLE, 1);
    EXPECT_EQ(PowerSupplyState_ERROR, 2);
    EXPECT_EQ(PowerSupplyState_FIRMWARE_UPDATE, 3);
    EXPECT_EQ(PowerSupplyState_CONTACTOR_ENGAGED, 4);
    EXPECT_EQ(PowerSupplyState_WELDING, 5);
    EXPECT_EQ(PowerSupplyState_JOG, 6);
    EXPECT_EQ(PowerSupplyState_PURGE, 7);
    EXPECT_EQ(PowerSupplyState_CLONING_WRITE, 8);
    EXPECT_EQ(PowerSupplyState_CLONING_READ, 9);
    EXPECT_EQ(PowerSupplyState_LIBRARY_WRITE, 10);
    EXPECT_EQ(PowerSupplyState_LIBRARY_READ, 11);
    EXPECT_EQ(PowerSupplyState_COUNT, 12);
}

TEST(Enumerations, ErrorTypesHaveTheirValues) {
    EXPECT_EQ(GenericErrorType_NONE, 0);
    EXPECT_EQ(GenericErrorType_INTERNAL, 1);
    EXPECT_EQ(GenericErrorType_TEMPERATURE, 2);
    EXPECT_EQ(GenericErrorType_DUTY_CYCLE_EXCEEDED, 3);
    EXPECT_EQ(GenericErrorType_INPUT_POWER_PRIMARY, 4);
    EXPECT_EQ(GenericErrorType_OUTPUT_POWER_SECONDARY, 5);
    EXPECT_EQ(GenericErrorType_COMMUNICATION, 6);
    EXPECT_EQ(GenericErrorType_POWER_SOURCE, 7);
    EXPECT_EQ(GenericErrorType_WIRE_FEEDER, 8);
    EXPECT_EQ(GenericErrorType_USER_INTERFACE, 9);
    EXPECT_EQ(GenericErrorType_USER_SETTINGS, 10);
    EXPECT_EQ(GenericErrorType_SYSTEM_DATA, 11);
    EXPECT_EQ(GenericErrorType_COUNT, 12);
}

}  // namespace
