# Script: writes HEADER with the commit identifier, 40 digits: git's where the source lies in a clone, else GIVEN, else
# zeros. Leaves the file alone when it did not change.
string(REPEAT "[0-9a-f]" 40 identifier)
set(commit "")
find_program(GIT git)
if(GIT)
    execute_process(COMMAND ${GIT} rev-parse HEAD WORKING_DIRECTORY "${SOURCE_DIR}"
        OUTPUT_VARIABLE commit OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
endif()
if(NOT commit MATCHES "^${identifier}$")
    string(TOLOWER "${GIVEN}" commit)
endif()
if(NOT commit MATCHES "^${identifier}$")
    set(commit "0000000000000000000000000000000000000000")
endif()
file(CONFIGURE OUTPUT "${HEADER}" @ONLY CONTENT [[#pragma once

inline constexpr const char* kCommitIdentifier = "@commit@";
]])
