#include "OSSpecific/Linux/System/Shell.h"

#include <cstdlib>

bool RunShell(const char* commandLine) {
    return std::system(commandLine) == 0;  // NOLINT(cert-env33-c): the command lines are constants of this process
}
