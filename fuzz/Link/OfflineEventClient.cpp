// A bus client in the place of the platform's, for harnesses: no broker, no thread, and nothing leaves. What is
// published must be well formed: one object that its own type reads back.
#include "fuzz/Support/Check.h"

#include <Veltrix/EventClient.h>

#include <cerrno>
#include <string>

EventClient::EventClient(const std::string& /*name*/) {}

int EventClient::Connect(const std::string& socket) {
    FUZZ_CHECK(!socket.empty());
    return -ENOENT;
}

int EventClient::Publish(const std::string& topic, const VeltrixDataTypeBase& data) {
    FUZZ_CHECK(!topic.empty());
    const JsonReport report = data.Clone()->ReadJson(data.ToJson());
    FUZZ_CHECK(report.problem.empty() && report.remark.empty());
    return -ENOTCONN;
}

int EventClient::Disconnect() {
    return -ENOTCONN;
}
