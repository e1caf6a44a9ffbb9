// A weld as the bus tells it: reported on the console and in the log, never to the carrier.
#include "tests/e2e/Harness/EndToEndTest.h"

namespace {

using testing::IsEmpty;

constexpr const char* kStart =
    R"({"tag":17,"timestamp":1741064767,"settings":"S","gas":"Argon","alloy":"X","wireType":"W"})";
constexpr const char* kTrace = R"({"sequence":3,"data":{"amps":180.25,"volts":24.5,"wfs":300}})";
constexpr const char* kEnd =
    R"({"tag":17,"metrics":{"ArcDuration":{"unit":"s","value":12.5},"AverageVoltage":{"unit":"V","value":24},)"
    R"("AverageAmperage":{"unit":"A","value":181.75},"AverageWFS":{"unit":"ipm","value":300}}})";

class WeldTopicsTest : public EndToEndTest {
protected:
    Machine& MachineWithVerbosity(const std::string& verbosity) {
        MachineOptions options;
        options.arguments = {"-f", "-v", verbosity};
        Machine& machine = NewMachine(options);
        machine.Files().SetVariable("TZ", "UTC");
        machine.Boot();
        return machine;
    }

    static void Weld(Machine& machine) {
        machine.Bus().Publish("weld_trigger_start", kStart);
        machine.Bus().Publish("weld_trace_data", kTrace);
        machine.Bus().Publish("weld_trigger_end", kEnd);
        machine.FlushBus();
    }

    static void ExpectLogged(Machine& machine) {
        machine.Log().AwaitInOrder(
            {"[info] Weld started at Tue Mar  4 05:06:07 2025",
             "[info] Weld 17 ended. Duration is 12.5s. Averages are 24 Volts, 181.75 Amps, 300 IPM "});
        EXPECT_THAT(machine.Line().Frames(), IsEmpty());
    }
};

TEST_F(WeldTopicsTest, AtVerbosityTwoSamplesArePrintedToo) {
    Machine& machine = MachineWithVerbosity("2");
    Weld(machine);
    machine.Out().AwaitInOrder({"Weld Start 17  Time: Tue Mar  4 05:06:07 2025", "",
                                "Sample: 3, Voltage: 24.5, Current: 180.25, WFS: 300", "Weld 17 End"});
    ExpectLogged(machine);

    // What is missing counts as nothing; a time far ahead is shown like any other.
    const std::size_t log = machine.Log().Position();
    machine.Bus().Publish("weld_trace_data", R"({"data":{"amps":0.1234567,"volts":1e10}})");
    machine.Bus().Publish("weld_trigger_end", "");
    machine.Bus().Publish("weld_trigger_start", R"({"tag":-1,"timestamp":9007199254740992})");
    machine.FlushBus();
    machine.Out().Await("Sample: 0, Voltage: 1e+10, Current: 0.123457, WFS: 0");
    machine.Log().AwaitInOrder({"[info] Weld 0 ended. Duration is 0s. Averages are 0 Volts, 0 Amps, 0 IPM ",
                                "[info] Weld started at Mon Nov 12 07:36:32 285428751"},
                               log);
}

TEST_F(WeldTopicsTest, AtVerbosityOneSamplesAreSilent) {
    Machine& machine = MachineWithVerbosity("1");
    Weld(machine);
    machine.Out().AwaitInOrder({"Weld Start 17  Time: Tue Mar  4 05:06:07 2025", "Weld 17 End"});
    EXPECT_FALSE(machine.Out().Has("Sample: {}"));
    ExpectLogged(machine);
}

TEST_F(WeldTopicsTest, AtVerbosityZeroOnlyTheLogTells) {
    Machine& machine = MachineWithVerbosity("0");
    Weld(machine);
    EXPECT_FALSE(machine.Out().Has("{}Weld{}"));
    EXPECT_FALSE(machine.Out().Has("Sample: {}"));
    ExpectLogged(machine);
}

}  // namespace
