// The system calls of the port, made to fail or written down on demand. Without a demand they are the system's own.
#pragma once

#include <string>
#include <vector>

namespace FaultySystemCalls {

struct Plan {
    bool flushFails = false;         // tcflush
    bool setFails = false;           // tcsetattr
    bool closeFails = false;         // close reports an error, after having closed
    bool unlockFails = false;        // flock, when it is to unlock
    bool record = false;             // write calls below down
    std::vector<std::string> calls;  // "flush <fd> <queue>", "set <fd> <action>", "unlock <fd>", "close <fd>"
};

Plan& ThePlan();

// Back to normal at the end of a test.
class Scope {
public:
    Scope() { ThePlan() = {}; }
    ~Scope() { ThePlan() = {}; }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
};

}  // namespace FaultySystemCalls
