// Small functions that the module's processes share: conversions, times, files, shell commands, factory-default
// markers. With it come the steady clock and the network queries. All of them may be called from any thread, none
// throws.
#pragma once

#include <chrono>
#include <cstdint>
#include <ctime>
#include <string>

#include "Common/Helper/NetworkInterfaces.h"
#include "Common/Helper/SteadyTime.h"

// The leading decimal number of a text, cut to its low 16 bits; 0 when there is none or it does not fit an int.
std::uint16_t ConvertStringToUint16(const std::string& text);

double ConvertInchesTomm(double inches);
double ConvertmmToInches(double millimetres);

// Files: the path is used as it is.
bool DoesThisFileExist(const std::string& path);        // a file or anything else; false also when it is out of reach
bool DeleteThisFile(const std::string& path);           // true when it was there and is gone
bool MakeSureDirectoryExists(const std::string& path);  // one level; true when the folder is there afterwards

// Runs a command in the shell, waits for it and returns what it printed on standard output; its standard error goes
// where ours goes.
std::string runShellCommand(const std::string& command);

// end - start.
std::chrono::nanoseconds AccurateDiffTime(std::chrono::steady_clock::time_point start,
                                          std::chrono::steady_clock::time_point end);

// end - start, with nanoseconds from 0 to 999,999,999; a negative difference has negative seconds: -0.25 s is
// {-1, 750,000,000}.
timespec GetTimespecDifference(timespec start, timespec end);

// -1, 0 or 1: the first is earlier, equal, later.
int TimespecCompareTo(timespec first, timespec second);

// Milliseconds since 1970 as "2025-01-31 13:45:09.123", UTC.
std::string GetATimeString(unsigned long long millisecondsSinceEpoch);

// The wall clock as "2025-01-31 13:45:09 + 123456 (microseconds)", UTC.
std::string GetNowUTCDateTimeWithMicroseconds();

std::string ConvertValueToHexString(unsigned int value);  // lower case, no leading zeros
std::string ConvertBYTEToHexString(std::uint8_t value);
std::string ConvertBYTEToASCII(std::uint8_t value);  // a text of this one character
std::string ConvertWORDToString(std::uint16_t value);
std::string ConvertFloatToString(float value, int decimals);
std::string ConvertBoolToTrueFalse(bool value);
std::string ConvertBoolToYesNo(bool value);
std::string ConvertBoolToYN(bool value);
std::string ConvertBoolToTF(bool value);

// Marker files, there after an interface's settings were reset to factory defaults. Clear: true when there was one.
bool CheckForWiFiFactoryDefaults();
bool CheckForEthernetFactoryDefaults();
bool ClearWiFiFactoryDefaultsStatusFile();
bool ClearEthernetFactoryDefaultsStatusFile();

// The distribution's version as the build file tells it, without its revision; "n/a" when it is not told.
std::string GetYoctoVersion();
