#pragma once

#include <string>
#include <string_view>

#include "CarrierSimulator/Carrier.h"

namespace simulator {

// What a line of standard input led to.
struct ConsoleReply {
    std::string text;  // lines to print, each with its newline; may be empty
    bool isQuit = false;
};

// Carries out one line of input. An unknown command or a wrong argument gives a line that begins with "error: ".
ConsoleReply RunConsoleCommand(std::string_view line, Carrier& carrier);

// One line for each command.
std::string ConsoleHelp();

}  // namespace simulator
