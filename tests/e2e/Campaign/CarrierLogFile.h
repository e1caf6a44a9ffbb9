// The file in which the process keeps the carrier's error messages.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/e2e/Harness/Sandbox.h"

struct CarrierLogFile {
    static constexpr const char* kPath = "/Veltrix/log/Carrier.log";
    static constexpr const char* kOldPath = "/Veltrix/log/Carrier.log.1";

    std::map<std::string, std::size_t> messages;  // how often each stands there
    std::vector<std::string> otherLines;          // that have not the form of one
};

// The old file and the present one.
CarrierLogFile ReadCarrierLog(const Sandbox& files);
