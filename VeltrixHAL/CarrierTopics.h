// Bus handlers that turn other processes' messages into operations on the carrier. The context is the
// CarrierCommInterface, except where a handler says otherwise; all but receiveHalInfoRequest run on the main thread.
#pragma once

#include <Veltrix/DataTypes.h>
#include <Veltrix/EventClient.h>

// "req_hal_info"; the context is the HALInfo. Runs on the bus library's thread.
void receiveHalInfoRequest(EventClient* client, VeltrixDataTypeBase* message, int reserved, void* context);

void receiveSystemLedStatus(EventClient* client, VeltrixDataTypeBase* message, int reserved, void* context);
void receiveLedSettings(EventClient* client, VeltrixDataTypeBase* message, int reserved, void* context);
void receiveTessimorSettings(EventClient* client, VeltrixDataTypeBase* message, int reserved, void* context);
void receiveFileInfo(EventClient* client, VeltrixDataTypeBase* message, int reserved, void* context);
void receiveFirmwareEnd(EventClient* client, VeltrixDataTypeBase* message, int reserved, void* context);
void receiveAdminAccessStatus(EventClient* client, VeltrixDataTypeBase* message, int reserved, void* context);
void receiveIncomingCommands(EventClient* client, VeltrixDataTypeBase* message, int reserved, void* context);
void receiveTimeSync(EventClient* client, VeltrixDataTypeBase* message, int reserved, void* context);

// "req_delayed_device_settings"; without context.
void receiveDeviceSettingsRequest(EventClient* client, VeltrixDataTypeBase* message, int reserved, void* context);

// Publishes who this machine is; 0 or a negative errno, which has been printed and logged.
int PublishIdentity(EventClient& client, const HALInfo& info);
