// The system's own words for an error number.
#pragma once

#include <string>
#include <system_error>

// Like strerror, for any thread. `error` is a positive errno.
inline std::string ErrorText(int error) {
    return std::generic_category().message(error);
}
