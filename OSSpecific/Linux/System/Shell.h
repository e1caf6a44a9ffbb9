// Commands for the machine's shell. Tests link their own definition: no test may reboot a computer.
#pragma once

// Runs a command line through the shell and waits for the shell. Returns true when the shell ran and reported
// success.
bool RunShell(const char* commandLine);
