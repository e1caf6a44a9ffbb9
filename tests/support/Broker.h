// A real mosquitto of a test's own, on a Unix-domain socket in a folder of its own.
#pragma once

#include <sys/types.h>

#include <string>

#include "tests/support/TempFolder.h"

// Every operation waits until what it names has happened and throws std::runtime_error, with the broker's log, when it
// does not. One thread; it must outlive the broker, which ends with it.
class Broker {
public:
    struct Options {
        // Lines for the end of the configuration file.
        std::string moreLines;
        // Let messages for a slow subscriber pile up without bound, instead of the broker's own 1,000.
        bool isQueueUnlimited = false;
        // Where to listen; empty for "bus" in the broker's folder.
        std::string socket;
    };

    // Starts it.
    Broker();
    explicit Broker(const Options& options);
    // Kills it.
    ~Broker();
    Broker(const Broker&) = delete;
    Broker& operator=(const Broker&) = delete;

    const std::string& Socket() const { return mSocket; }
    pid_t Pid() const { return mPid; }
    bool IsRunning() const { return mPid > 0; }

    // Until it accepts connections, on the same socket as ever.
    void Start();
    // SIGTERM: it says good-bye to its clients and removes its socket.
    void Stop();
    // SIGKILL: its socket stays behind.
    void Kill();
    void Restart();

    // SIGSTOP and SIGCONT: stopped, it keeps its connections and answers nothing.
    void Pause();
    void Resume();

    // What it has written.
    std::string Log() const;

private:
    void WriteConfiguration(const Options& options) const;
    bool IsAccepting() const;
    void Send(int signal) const;
    void End(int signal);
    [[noreturn]] void Fail(const std::string& what) const;

    TempFolder mFolder;
    std::string mSocket;
    std::string mLogFile;
    pid_t mPid = 0;
};
