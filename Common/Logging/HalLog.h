// The one place that knows how this process speaks: the rotating log, the console and standard error.
//
// All operations may be called from any thread. They compose a line in a buffer on the stack and write it with a
// single call, so lines of different threads never mix and the usual line costs no heap allocation.
#pragma once

#include <fmt/core.h>

#include <string_view>

namespace HalLog {

// Where a message was written: file name without folders, and line.
struct Where {
    const char* file;
    int line;
};

// A format string checked at compile time, together with the place of the call.
template <typename... Args>
struct BasicFormat {
    template <typename Text>
    consteval BasicFormat(const Text& formatText,  // call sites pass literals
                          const char* file = __builtin_FILE(), int line = __builtin_LINE())
        : text(formatText), where{BaseName(file), line} {}

    static consteval const char* BaseName(const char* path) {
        const char* name = path;
        for (const char* at = path; *at != '\0'; ++at) {
            if (*at == '/') {
                name = at + 1;
            }
        }
        return name;
    }

    fmt::format_string<Args...> text;
    Where where;
};

template <typename... Args>
using Format = BasicFormat<fmt::type_identity_t<Args>...>;

// The level codes of the line that stands in for a message when there is no rotating log.
enum class Level { Information = 1, Warning = 2, Error = 3, Critical = 4 };

namespace Detail {
void Log(Level level, Where where, fmt::string_view format, fmt::format_args args);
void PrintAlways(fmt::string_view format, fmt::format_args args);
void PrintError(Where where, std::string_view shape, long code, fmt::string_view format, fmt::format_args args);
}  // namespace Detail

// Write to the rotating log. Without one, information is lost silently and the other levels print
// "Rotating logger is nullptr - level: <code> - logged at <file>:<line>" on standard output.
template <typename... Args>
void Info(Format<Args...> format, Args&&... args) {
    Detail::Log(Level::Information, format.where, format.text, fmt::make_format_args(args...));
}

template <typename... Args>
void Warning(Format<Args...> format, Args&&... args) {
    Detail::Log(Level::Warning, format.where, format.text, fmt::make_format_args(args...));
}

template <typename... Args>
void Error(Format<Args...> format, Args&&... args) {
    Detail::Log(Level::Error, format.where, format.text, fmt::make_format_args(args...));
}

template <typename... Args>
void Critical(Format<Args...> format, Args&&... args) {
    Detail::Log(Level::Critical, format.where, format.text, fmt::make_format_args(args...));
}

// Whether the verbosity is at least so much.
bool IsVerbose(int verbosity);

// Print a line (a newline is added) on standard output when the verbosity is at least `verbosity`.
template <typename... Args>
void Print(int verbosity, fmt::format_string<Args...> format, Args&&... args) {
    if (IsVerbose(verbosity)) {
        Detail::PrintAlways(format, fmt::make_format_args(args...));
    }
}

// Print a line whatever the verbosity.
template <typename... Args>
void PrintAlways(fmt::format_string<Args...> format, Args&&... args) {
    Detail::PrintAlways(format, fmt::make_format_args(args...));
}

// Write text as it stands, without a newline, on standard output whatever the verbosity.
void PrintRaw(std::string_view text);

// Write text as it stands on standard error.
void PrintErrorRaw(std::string_view text);

// "[ERROR (<code>)] in <file>@ line <line>: <text>" on standard error. The text may hold further lines.
template <typename... Args>
void PrintError(long code, Format<Args...> format, Args&&... args) {
    Detail::PrintError(format.where, "[ERROR ({})] in {}@ line {}: ", code, format.text,
                       fmt::make_format_args(args...));
}

// "ERROR (<code>) @ <file>.<line>-> <text>" on standard error: the form of the identity file's messages.
template <typename... Args>
void PrintFileError(long code, Format<Args...> format, Args&&... args) {
    Detail::PrintError(format.where, "ERROR ({}) @ {}.{}-> ", code, format.text, fmt::make_format_args(args...));
}

// Flush the rotating log, if there is one.
void Flush();

}  // namespace HalLog
