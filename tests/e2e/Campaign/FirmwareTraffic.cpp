#include "tests/e2e/Campaign/FirmwareTraffic.h"

#include <algorithm>
#include <filesystem>

#include "CarrierSimulator/FirmwareImage.h"

namespace {

constexpr const char* kNames[] = {"VeltrixApp_CRC.bin", "VeltrixBoot_CRC.bin", "VeltrixApp.hex"};
constexpr std::size_t kSmallest = 3U * 1024;
constexpr std::size_t kLargest = 20U * 1024;

}  // namespace

void FirmwareTraffic::Begin() {
    const std::string name = kNames[mChance.Below(std::size(kNames))];
    mPath = "/Veltrix/update/" + name;
    mImage = simulator::MakeImage(mChance.Between(kSmallest, kLargest), mChance.Below(SIZE_MAX));
    mMachine.Files().Write(mPath, std::string(mImage.begin(), mImage.end()));
    mApplies = mMachine.Carrier().State().firmware.applies;
    mBus.Send("carrier_file", R"({"fileSize":0,"fileName":")" + name + R"(","fileFullPath":")" +
                                  mMachine.Files().Path(mPath) + R"("})");
    mQuestion = mBus.Ask();
    ++mBegun;
}

void FirmwareTraffic::Settle() {
    if (!IsBusy() || !mBus.IsAnswered(mQuestion)) {
        return;
    }
    mQuestion = 0;
    const std::size_t applies = mMachine.Carrier().State().firmware.applies - mApplies;
    const auto images = mMachine.Carrier().AppliedImages();
    for (auto image = images.rbegin();
         image != images.rend() && image < images.rbegin() + static_cast<std::ptrdiff_t>(applies); ++image) {
        mWrong += image->bytes == mImage ? 0U : 1U;
    }
    const bool isKept = mMachine.Files().Exists(mPath);
    ++(isKept ? mKept : mDone);
    if (isKept) {
        std::filesystem::remove(mMachine.Files().Path(mPath));
    }
}
