#include "OSSpecific/Linux/System/Shell.h"

#include <cstdlib>

bool RunShell(const char* commandLine) {
    return std::system(commandLine) == 0;  // the command lines are constants of this process
}
