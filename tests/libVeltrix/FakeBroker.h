// The broker's end of a socket in the hands of a test, byte by byte.
#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <stdexcept>
#include <string>

#include "tests/support/TempFolder.h"

class FakeBroker {
public:
    // Listens, and accepts nobody by itself; `backlog` more than that many connections wait for it.
    explicit FakeBroker(int backlog = 10)
        : mSocket(mFolder / "bus"), mListener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const sockaddr_un address = Address();
        if (bind(mListener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
            listen(mListener, backlog) != 0) {
            throw std::runtime_error("fake broker: cannot listen");
        }
    }
    ~FakeBroker() {
        HangUp();
        close(mListener);
    }
    FakeBroker(const FakeBroker&) = delete;
    FakeBroker& operator=(const FakeBroker&) = delete;

    const std::string& Socket() const { return mSocket; }

    sockaddr_un Address() const {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, mSocket.c_str(), mSocket.size() + 1);
        return address;
    }

    // The next client.
    void Accept() {
        HangUp();
        Await(mListener);
        mClient = accept(mListener, nullptr, nullptr);
    }

    void HangUp() {
        if (mClient >= 0) {
            close(mClient);
            mClient = -1;
        }
    }

    std::string Read(std::size_t count) {
        std::string bytes;
        while (bytes.size() < count) {
            Await(mClient);
            char byte = 0;
            if (read(mClient, &byte, 1) != 1) {
                throw std::runtime_error("fake broker: the client hung up");
            }
            bytes += byte;
        }
        return bytes;
    }

    // What still comes before the client hangs up.
    std::string ReadToEnd() {
        std::string bytes;
        char byte = 0;
        for (Await(mClient); read(mClient, &byte, 1) == 1; Await(mClient)) {
            bytes += byte;
        }
        return bytes;
    }

    // One packet of less than 128 bytes behind its two of header.
    std::string ReadPacket() {
        const std::string header = Read(2);
        return header + Read(static_cast<unsigned char>(header[1]));
    }

    void Write(const std::string& bytes) {
        if (send(mClient, bytes.data(), bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bytes.size())) {
            throw std::runtime_error("fake broker: cannot write");
        }
    }

private:
    static void Await(int descriptor) {
        pollfd polled{descriptor, POLLIN, 0};
        if (poll(&polled, 1, 15'000) != 1) {
            throw std::runtime_error("fake broker: nothing came");
        }
    }

    TempFolder mFolder;
    std::string mSocket;
    int mListener;
    int mClient = -1;
};
