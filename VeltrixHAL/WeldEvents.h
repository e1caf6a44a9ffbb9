// The weld as the machine's other processes tell it: its state here, and lines on console and log. Nothing of it goes
// to the carrier. Bus handlers; main thread, without context.
#pragma once

#include <Veltrix/EventClient.h>

void receiveWeldTriggerStart(EventClient* client, VeltrixDataTypeBase* message, int reserved, void* context);
void receiveWeldData(EventClient* client, VeltrixDataTypeBase* message, int reserved, void* context);
void receiveWeldTriggerEnd(EventClient* client, VeltrixDataTypeBase* message, int reserved, void* context);
