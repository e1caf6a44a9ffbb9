// The arc-start threshold, which outlives the process in the system configuration file.
#include "Common/Helper/ErrorText.h"
#include "Common/Helper/FileContent.h"
#include "Common/Helper/RootedPath.h"
#include "Common/Logging/HalLog.h"
#include "VeltrixHAL/BusClient.h"
#include "VeltrixHAL/VeltrixComm/CarrierCommInterface.h"

#include <cjson/cJSON.h>

#include <algorithm>
#include <limits>

namespace {

constexpr const char* kFile = "/Veltrix/system.config";
constexpr const char* kMember = "ArcStartAmps";

struct CJsonDelete {
    void operator()(cJSON* document) const { cJSON_Delete(document); }
    void operator()(char* text) const { cJSON_free(text); }
};
using Document = std::unique_ptr<cJSON, CJsonDelete>;
using PrintedText = std::unique_ptr<char, CJsonDelete>;

}  // namespace

std::uint16_t CarrierCommInterface::mArcMinThreshold = mDefaultArcAmpsMinThreshold;

void CarrierCommInterface::UpdateStoredConfig(std::uint16_t arcThreshold) {
    const Document document(cJSON_CreateObject());
    if (document == nullptr) {
        HalLog::Warning("Unable to create json object for UpdateStoredConfig()");
        return;
    }
    if (arcThreshold != 0) {
        mArcMinThreshold = std::max(arcThreshold, mLowestAcceptedArcMinThreshold);
        HalLog::Info("ArcThreshold set to {}", mArcMinThreshold);
        DeviceSettings settings;
        settings.set_arcStartThreshold(mArcMinThreshold);
        settings.set_timestamp(DateTime::Now(0));
        BusClient::Publish(mClient, "device_settings", settings);
    }
    PrintedText text;
    if (cJSON_AddNumberToObject(document.get(), kMember, mArcMinThreshold) != nullptr) {
        text.reset(cJSON_Print(document.get()));
    }
    const int error = text == nullptr ? ENOMEM : ReplaceFile(RootedPath(kFile), text.get());
    if (error != 0) {
        HalLog::Warning("Unable to write {}. {}", kFile, ErrorText(error));
    }
}

void CarrierCommInterface::ReadStoredConfig(std::uint16_t& arcThreshold) {
    const auto text = ReadFile(RootedPath(kFile));
    if (!text.has_value()) {
        return;
    }
    const Document document(cJSON_ParseWithLength(text->data(), text->size()));
    const cJSON* const item = cJSON_GetObjectItemCaseSensitive(document.get(), kMember);
    if (cJSON_IsNumber(item) == 0) {
        return;
    }
    // The whole part of what was written by hand; what lies beyond the type is no threshold.
    const int amps = item->valueint;
    if (amps >= 0 && amps <= std::numeric_limits<std::uint16_t>::max()) {
        arcThreshold = static_cast<std::uint16_t>(amps);
    }
}
