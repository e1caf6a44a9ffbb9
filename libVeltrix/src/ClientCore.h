// What the copies of an EventClient share.
#pragma once

#include <Veltrix/EventClient.h>

#include <memory>
#include <mutex>
#include <string>

#include "libVeltrix/src/BusConnection.h"

namespace VeltrixDetail {

// Its end is the end of the last copy: it disconnects. Handlers are given a further copy, so that may also be on the
// connection's own thread.
class ClientCore : public std::enable_shared_from_this<ClientCore> {
public:
    explicit ClientCore(std::string name);
    ~ClientCore();
    ClientCore(const ClientCore&) = delete;
    ClientCore& operator=(const ClientCore&) = delete;

    int Connect(const std::string& socket);
    int Disconnect();
    int RunDeferred(int timeoutMs);

    // Null when not connected.
    std::shared_ptr<BusConnection> Connection() const;

private:
    void RunHandler(const Delivery& delivery) noexcept;

    const std::string mName;
    mutable std::mutex mMutex;  // guards everything below
    bool mIsConnecting = false;
    std::shared_ptr<BusConnection> mConnection;
};

}  // namespace VeltrixDetail
