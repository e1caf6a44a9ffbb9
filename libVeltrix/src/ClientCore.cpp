#include "libVeltrix/src/ClientCore.h"

#include <cerrno>
#include <exception>
#include <utility>

#include "libVeltrix/src/LibraryLog.h"

namespace VeltrixDetail {

ClientCore::ClientCore(std::string name) : mName(std::move(name)) {}

ClientCore::~ClientCore() {
    if (mConnection) {
        mConnection->Close();
    }
}

int ClientCore::Connect(const std::string& socket) {
    {
        const std::lock_guard lock(mMutex);
        if (mConnection) {
            return -EISCONN;
        }
        if (mIsConnecting) {
            return -EALREADY;
        }
        mIsConnecting = true;
    }
    // The connection must not keep its owner alive, nor call handlers for one that is gone.
    auto connection =
        std::make_shared<BusConnection>(mName, socket, [weak = weak_from_this()](const Delivery& delivery) {
            if (const auto self = weak.lock()) {
                self->RunHandler(delivery);
            }
        });
    const int result = connection->Open();
    if (result != 0) {
        connection.reset();
    }
    const std::lock_guard lock(mMutex);
    mIsConnecting = false;
    mConnection = std::move(connection);
    return result;
}

int ClientCore::Disconnect() {
    std::shared_ptr<BusConnection> connection;
    {
        const std::lock_guard lock(mMutex);
        if (!mConnection) {
            return -ENOTCONN;
        }
        if (mConnection->IsOwnThread()) {
            return -EDEADLK;
        }
        connection.swap(mConnection);
    }
    connection->Close();
    return 0;
}

int ClientCore::RunDeferred(int timeoutMs) {
    const std::shared_ptr<BusConnection> connection = Connection();
    if (!connection) {
        return 0;
    }
    DeferredQueue& queue = connection->Deferred();
    const std::uint64_t youngest = queue.WaitForFirst(std::chrono::milliseconds(timeoutMs));
    int count = 0;
    while (const std::optional<Delivery> delivery = queue.Pop(youngest)) {
        RunHandler(*delivery);
        ++count;
    }
    queue.ReportDropped();
    return count;
}

std::shared_ptr<BusConnection> ClientCore::Connection() const {
    const std::lock_guard lock(mMutex);
    return mConnection;
}

void ClientCore::RunHandler(const Delivery& delivery) noexcept {
    const Subscription& subscription = *delivery.subscription;
    EventClient client(shared_from_this());
    try {
        subscription.handler(&client, delivery.message.get(), 0, subscription.context);
    } catch (const std::exception& problem) {
        LogWarning("The handler of \"{}\" failed: {}", subscription.topic, problem.what());
    } catch (...) {
        LogWarning("The handler of \"{}\" failed", subscription.topic);
    }
}

}  // namespace VeltrixDetail
