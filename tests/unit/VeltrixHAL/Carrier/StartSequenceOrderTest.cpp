// The start sequence tells of each request that failed before it goes on.
#include "tests/unit/VeltrixHAL/Carrier/CarrierFixture.h"

#include <ostream>

namespace {

using testing::IsEmpty;
using testing::Not;

struct Request {
    std::uint8_t command;
    std::uint8_t next;
    const char* failure;

    friend void PrintTo(const Request& request, std::ostream* out) { *out << "Command" << int{request.command}; }
};

constexpr Request kRequests[] = {{7, 8, "Failed to get carrier bootloader version"},
                                 {8, 50, "Failed to get carrier app version"},
                                 {50, 37, "Failed to get board revision"}};

class StartSequenceOrderTest : public CarrierTest, public testing::WithParamInterface<Request> {
protected:
    StartSequenceOrderTest() {
        mLine.Answer(7, FrameBuilder::Ack({'B', 'o', 'o', 't', '1', 0}));
        mLine.Answer(8, FrameBuilder::Ack({'5', '3', '1', '7', '2', '6', 'R', 0}));
        mLine.Answer(50, FrameBuilder::Ack({0xA1}));
    }
};

TEST_P(StartSequenceOrderTest, AFailureIsLoggedAndPrintedBeforeTheNextFrameLeaves) {
    mLine.Answer(GetParam().command, FrameBuilder::Nack(0));
    const auto said = SaidBefore(FrameBuilder::Frame(GetParam().next), [&] {
        Receive(FrameBuilder::Frame(9, {8, 0, 0, 0, 0, 0}));
    });
    ASSERT_THAT(said.logged, Not(IsEmpty()));
    EXPECT_EQ(said.logged.back(), Warning(GetParam().failure));
    ASSERT_THAT(said.printed, Not(IsEmpty()));
    EXPECT_EQ(said.printed.back(), GetParam().failure);
}

INSTANTIATE_TEST_SUITE_P(All, StartSequenceOrderTest, testing::ValuesIn(kRequests));

}  // namespace
