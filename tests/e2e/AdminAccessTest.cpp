// Admin access: what the carrier is told, and the restart that follows.
#include "tests/e2e/Harness/EndToEndTest.h"
#include "tests/support/WaitUntil.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kAccess = R"({"expiryDate":"2025-03-04T05:06:07.089Z","enableConsole":true,"enableShell":false})";
constexpr const char* kFrame = "0A 25 0A 00 E7 86 19 03 04 05 06 07 59 00 01 00 D9 D5";

class AdminAccessTest : public EndToEndTest {};

TEST_F(AdminAccessTest, AcceptedByTheCarrierItRestartsTheModule) {
    Machine& machine = GreetedMachine();
    const std::size_t line = machine.Line().Position();
    const std::size_t log = machine.Log().Position();
    const std::size_t bus = machine.Bus().Position();
    const auto asked = steady_clock::now();
    machine.Bus().Publish("admin_access", kAccess);
    EXPECT_EQ(
        machine.Bus().Await("power_down_status", bus),
        R"({"isPoweringDown":true,"nameOfCaller":"HAL","reasonForPowerdown":"Admin access status has been set"})");
    EXPECT_THAT(machine.Line().Frames(line), ElementsAre(kFrame));
    EXPECT_EQ(machine.Hal().WaitForExit(), 0) << "its own announcement stops it";
    EXPECT_GE(steady_clock::now() - asked, milliseconds(2000));
    EXPECT_LE(steady_clock::now() - asked, milliseconds(6000));
    machine.Log().AwaitInOrder(
        {"[error] Deprecated AdminAccess command sent by carrier 0d1",
         "[warning] Admin access info sent to Carrier. Console: true, SSH: false",
         "[warning] Rebooting system due to admin access request...",
         "[info] Powerdown received from HAL - Admin access status has been set.", "[info] HAL shutting down"},
        log);
    machine.Files().AwaitShutdown("-r now");
}

TEST_F(AdminAccessTest, WithoutAnExpiryDateNothingHappens) {
    Machine& machine = GreetedMachine();
    const std::size_t line = machine.Line().Position();
    const std::size_t log = machine.Log().Position();
    machine.Bus().Publish("admin_access", R"({"expiryDate":"","enableConsole":true,"enableShell":true})");
    machine.Bus().Publish("admin_access", "");
    machine.FlushBus();
    EXPECT_THAT(machine.Line().Frames(line), IsEmpty());
    EXPECT_EQ(machine.Log().Position(), log);
    EXPECT_THAT(machine.Files().Shutdowns(), IsEmpty());
}

TEST_F(AdminAccessTest, ATextThatIsNoTimeIsReportedAndTheNextOneWorks) {
    Machine& machine = GreetedMachine();
    const std::size_t line = machine.Line().Position();
    const std::size_t bus = machine.Bus().Position();
    for (const char* const text : {"2025", "2025-03-04T05:06:07Z", "tomorrow, if it is not too late", "{} %s %n"}) {
        const std::size_t log = machine.Log().Position();
        machine.Bus().Publish("admin_access", std::string(R"({"expiryDate":")") + text + "\"}");
        machine.FlushBus();
        machine.Log().Await(std::string("[error] Admin access expiry date is no time: \"") + text + "\" ({})", log);
    }
    EXPECT_THAT(machine.Line().Frames(line), IsEmpty());
    EXPECT_EQ(machine.Bus().Count("power_down_status", bus), 0U);
    EXPECT_THAT(machine.Files().Shutdowns(), IsEmpty());

    machine.Bus().Publish("admin_access", kAccess);
    machine.Line().AwaitFrame(kFrame, line);
    EXPECT_EQ(machine.Hal().WaitForExit(), 0);
}

TEST_F(AdminAccessTest, RefusedByTheCarrierItChangesNothing) {
    Machine& machine = GreetedMachine();
    simulator::ScriptedFault refuse;
    refuse.what = simulator::ScriptedFault::What::Nack;
    refuse.code = simulator::nack::kInvalidTimestamp;
    refuse.command = simulator::command::kAdminAccess;
    refuse.count = 3;
    machine.Carrier().Faults().Script(refuse);
    const std::size_t line = machine.Line().Position();
    const std::size_t bus = machine.Bus().Position();
    machine.Bus().Publish("admin_access", kAccess);
    machine.FlushBus();
    EXPECT_THAT(machine.Line().Frames(line), ElementsAre(kFrame, kFrame, kFrame));
    EXPECT_EQ(machine.Log().Lines().back(), "[warning] Failed to send Admin access request to Carrier");
    EXPECT_EQ(machine.Bus().Count("power_down_status", bus), 0U);
    EXPECT_THAT(machine.Files().Shutdowns(), IsEmpty());
}

}  // namespace
