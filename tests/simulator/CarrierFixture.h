#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "CarrierSimulator/Carrier.h"
#include "tests/simulator/ModuleEnd.h"

namespace simulator {

using namespace std::chrono_literals;

// Generous: a wait for what must come. It is only used up when something is wrong.
inline constexpr Milliseconds kPatience{20000};
// A wait for what must not come.
inline constexpr Milliseconds kQuiet{150};

inline const std::string kAckBytes = "0A 01 00 00 7A AC";

// A carrier on a pseudo terminal of its own, and a test that holds the other end.
class CarrierFixture : public ::testing::Test {
protected:
    void Begin(CarrierOptions options = {}) {
        // A frame that is written in pieces stays one also when the machine is slow; tests of broken frames say so.
        if (options.gaps.frame == FrameDecoder::Gaps{}.frame) {
            options.gaps.frame = 300ms;
        }
        mCarrier = std::make_unique<Carrier>(std::move(options));
        ASSERT_TRUE(mCarrier->Start()) << mCarrier->Error();
        mModule = std::make_unique<ModuleEnd>(mCarrier->DevicePath());
        ASSERT_TRUE(mModule->IsOpen());
    }

    // Writes these bytes and reads as many as `answer` has.
    void Exchange(const std::string& sent, const std::string& answer) {
        ASSERT_TRUE(mModule->Write(sent));
        EXPECT_EQ(mModule->Read((answer.size() + 1) / 3), answer) << "after " << sent;
    }

    std::unique_ptr<Carrier> mCarrier;
    std::unique_ptr<ModuleEnd> mModule;
};

}  // namespace simulator
