// What campaigns share: a carrier that repeats its heartbeats, and a bus that is asked until it answers.
#pragma once

#include "tests/e2e/Firmware/FirmwareTest.h"

class CampaignTest : public FirmwareTest {
protected:
    // A carrier that says everything again that was not acknowledged: a heartbeat that comes in place of an answer is
    // refused.
    static MachineOptions PatientOptions();

    // So many, one after the other, each acknowledged in the end.
    static void ExpectHeartbeatsAcked(Machine& machine, int count);
    // The same at once: an attempt meets no silence, only the refusal that a command was on its way.
    static void ExpectHeartbeatsAckedAtOnce(Machine& machine, int count);
    // Asks again and again; when it returns, the process hears the bus and is heard.
    static void AwaitBus(Machine& machine);
    // A question to the process, a message through it to the carrier, and one of its own.
    static void ExpectBusToWork(Machine& machine);
};
