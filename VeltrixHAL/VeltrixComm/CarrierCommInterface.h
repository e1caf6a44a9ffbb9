// What each link command means to the module: the service layer over the link to the carrier.
//
// The implementation is one file per concern: dispatch and replies (CarrierCommInterface.cpp), _Heartbeat, _Leds,
// _ClockAndBattery, _Settings, _StoredConfig, _FirmwareUpdate and _ErrorLogAndPower.
//
// Threads: HandleReceivedPacket and the HandleRx... operations run on the processing thread,
// ProcessResponseFromCarrier on whichever thread waits for an answer, the public operations on the main thread (bus
// handlers) unless they say otherwise.
#pragma once

#include "VeltrixHAL/VeltrixComm/CarrierPayloads.h"
#include "VeltrixHAL/VeltrixComm/FirmwareFiles.h"
#include "VeltrixHAL/VeltrixComm/VeltrixNetMaster.h"

#include <Veltrix/DataTypes.h>
#include <Veltrix/DeviceCapabilities.h>
#include <Veltrix/EventClient.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

class CarrierCommInterface : public VeltrixNetMaster {
public:
    // The port is the caller's and outlives the interface; the client is copied (copies share one connection). Reads
    // the stored arc-start threshold. Sends nothing: the exchange begins with the carrier's first heartbeat.
    CarrierCommInterface(IBufferedSerial& port, EventClient& client);
    ~CarrierCommInterface() override = default;

    void HandleReceivedPacket(Packet& packet) override;
    e_commError ProcessResponseFromCarrier(Packet& response, CommCommands_t sent, int elapsedMs) override;

    // Shows a state on a carrier LED, unless the carrier already does and no refresh is due. A state that did not reach
    // the carrier is sent again at the next call.
    void SendLedUpdate(ledNames_e led, bool on);

    // Takes states over as if the carrier showed them; sends nothing.
    void UpdateLocalLEDStates(SystemLedStatus* status);

    // The brightness settings of the LEDs. Carriers below HAL version 6 know no operator-ID LEDs and get seven bytes.
    void SendStrovanelLedSettings(std::uint8_t cloudGreenLed, std::uint8_t cloudYellowLed, std::uint8_t wifiGreenLed,
                                  std::uint8_t wifiYellowLed, std::uint8_t ethernetGreenLed,
                                  std::uint8_t ethernetYellowLed, std::uint8_t usbGreenLed, std::uint8_t opIDGreenLed,
                                  std::uint8_t opIDYellowLed);

    // The sensor settings of the Tessimor process. Pre- and post-weld data in tenths of a second, the end requirement
    // in milliseconds, the threshold in amperes.
    void SendTessimorSettings(std::uint8_t is10KHzRawData, std::uint8_t currentSensorType,
                              std::uint8_t useWireFeedSensor, std::uint8_t useGasSensor, std::uint8_t gasType,
                              std::uint8_t preWeldDataTenthSeconds, std::uint8_t postWeldDataTenthSeconds,
                              std::uint8_t weldEndRequirementMSecs, std::uint8_t weldStartCurrentThresholdAmps);

    // Sends console and shell access with its expiry, unless the expiry is empty. True when the carrier accepted it. A
    // second caller at the same time is refused. Throws std::out_of_range for an expiry text that is too short and
    // std::invalid_argument for one without numbers where they belong.
    bool SendAdminAccessStatus(AdminAccessSettings& settings);

    // Sends a server's choice of current sensor and announces it on the bus. True when the carrier accepted it. A
    // second caller at the same time is refused.
    bool SendServerCommands(IncomingCommands& commands);

    // Takes a new arc-start threshold (amperes, raised to 8; 0 keeps the present one), announces it, and writes the
    // one in force to the system configuration file.
    void UpdateStoredConfig(std::uint16_t arcThreshold);

    // The threshold in the system configuration file; without a good one the argument stays as it is.
    void ReadStoredConfig(std::uint16_t& arcThreshold);

    void GetCapabilities(DeviceCapabilities& capabilities);

    // Updates the carrier from a file: announces it, sends it, has it applied, waits for the carrier's return, deletes
    // the file. Blocks for as long as that takes (a carrier that never returns is waited for until the process stops).
    // Every outcome is logged.
    void DispatchCarrierFiles(CarrierFileInfo& info);

    // Publishes the carrier's versions on a connection of its own. Processing thread.
    void PublishCarrierInfo();

    // A firmware transfer is running. Any thread.
    std::atomic<bool> mFirmwareUpdateInProgress{false};

protected:
    // Unsolicited frames; byte 0 is the start byte.
    void HandleRxNack(const std::uint8_t* frame);
    void HandleRxAck(const std::uint8_t* frame);
    void HandleRxUploadReady(const std::uint8_t* frame);
    void HandleRxCarrierHeartbeat(const std::uint8_t* frame);
    void HandleRxSampleData(const std::uint8_t* frame);
    void HandleRxPowerFail(const std::uint8_t* frame);
    void HandleRxVBat(const std::uint8_t* frame);
    void HandleRxRTC(const std::uint8_t* frame);
    void HandleRxError(const std::uint8_t* frame);
    void HandleResetCommand(const std::uint8_t* frame);
    void HandleCommsTestCommand(const std::uint8_t* frame);
    void HandleDropbear(const std::uint8_t* frame);
    void HandleSDCardStatusCommand(const std::uint8_t* frame);
    void HandleFwVersionRequest(const std::uint8_t* frame);

    // Replies.
    void ProcessAck(Packet& response, CommCommands_t sent);
    e_commError ProcessNack(Packet& response);
    e_commError ProcessCollision(Packet& response);
    void ProcessResponseToCarrierVersion(Packet& packet, CommCommands_t command);
    void ProcessResponseToGetRTC(Packet& packet);
    void ProcessResponseToGetVBat(Packet& packet);

    // Heartbeat.
    void CheckCarrierCommSettings(const std::uint8_t* frame);
    void RunStartSequence();
    void ReportVersionMismatch();
    void UpdateDataReporting();
    bool CheckIfCarrierVersionIsValid();

    // Clock.
    void SetClockFromCarrier(const DateTime& carrierTime);

    // Firmware update.
    class UpdateUnderWay;
    enum class TransferPass { Done, StartRefused, Failed };
    struct Transfer {
        std::string fileName;
        std::string fileFullPath;
        std::uint32_t size = 0;
        std::unique_ptr<std::uint8_t[]> image;
        std::array<std::uint8_t, 5> startPayload{};
        unsigned int attempts = 0;  // counted failures
        bool retry = false;
        e_commError endResult = commError_None;  // of the last FileTransferEnd, whichever pass sent it
    };
    bool ReadUpdateFile(Transfer& transfer);
    void MakeFirmwarePayloadReady(const std::string& fileName, std::uint32_t size, std::uint8_t* startPayload);
    bool TransferFile(Transfer& transfer);
    TransferPass RunTransferPass(Transfer& transfer);
    void WaitUntilCarrierIsReadyForFile();
    bool ApplyFile(const Transfer& transfer);
    bool WaitUntilCarrierIsBack();
    void SendUpdatePhase(FirmwareUpdateState_e phase);

    void SendAck();

    EventClient mClient;
    timestampStruct mStartWeldTimestamp;
    std::atomic<bool> mCarrierIsReadyForFile{false};
    std::string mCarrierAppVersion;         // processing thread
    std::string mCarrierBootloaderVersion;  // processing thread
    std::uint8_t mBoardRevision = 0;        // processing thread
    std::atomic<std::uint16_t> mCarrierHALVersion{0};
    ledStatusStruct mOldLedStatus;  // main thread

    // Amperes; class-wide. Main thread.
    static std::uint16_t mArcMinThreshold;
    static constexpr std::uint16_t mDefaultArcAmpsMinThreshold = 10;
    static constexpr std::uint16_t mDefaultArcAmpsMaxThreshold = 2000;
    static constexpr std::uint16_t mLowestAcceptedArcMinThreshold = 8;

    // Once-per-process state of the heartbeat and clock handlers. Processing thread.
    static bool runOnce;
    static bool dataReportingEnabled;
    static bool setOnce;

    static std::mutex adminAccessMutex;
    static std::mutex serverCommandsMutex;

    // One update at a time. Left set for ever after a file that could not be opened or read: no further update is taken
    // on until the process has been restarted.
    static std::atomic_flag updateFileMutex;

    static constexpr unsigned short kCommandTimeoutMs = 200;
    static constexpr unsigned short kRequestBufferSize = 100;
};
