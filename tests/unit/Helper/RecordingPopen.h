// Every command line given to popen is written down, then run as always.
#pragma once

#include <string>
#include <vector>

// The command lines since the last call.
std::vector<std::string> TakeCommands();

// Lets popen fail.
void LetPopenFail(bool fails);
