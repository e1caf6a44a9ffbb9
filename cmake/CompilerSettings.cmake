# Warnings, sanitizers and coverage for every target of this project, by linking to veltrix_settings.
add_library(veltrix_settings INTERFACE)

target_compile_options(veltrix_settings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(VELTRIX_WARNINGS_AS_ERRORS)
    target_compile_options(veltrix_settings INTERFACE -Werror)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # This version's optimiser sees overlapping copies and writes out of bounds in every `"text" + std::string()` (GCC
    # bug 105651 and its kin); clang and the unoptimised build still watch for both.
    target_compile_options(veltrix_settings INTERFACE
        $<$<NOT:$<CONFIG:Debug>>:-Wno-restrict> $<$<NOT:$<CONFIG:Debug>>:-Wno-array-bounds>)
endif()
target_include_directories(veltrix_settings INTERFACE "${PROJECT_SOURCE_DIR}")
# 64-bit seconds and file offsets on every processor.
target_compile_definitions(veltrix_settings INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
target_link_libraries(veltrix_settings INTERFACE Threads::Threads)

if(VELTRIX_SANITIZER STREQUAL "address")
    set(sanitizer_flags -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
elseif(VELTRIX_SANITIZER STREQUAL "thread")
    set(sanitizer_flags -fsanitize=thread -fno-omit-frame-pointer)
elseif(VELTRIX_SANITIZER)
    message(FATAL_ERROR "VELTRIX_SANITIZER is \"address\", \"thread\" or empty, not \"${VELTRIX_SANITIZER}\"")
endif()
if(VELTRIX_SANITIZER)
    # For everything, also the gtest-only helper libraries: half a sanitized program reports what is not there.
    add_compile_options(${sanitizer_flags})
    add_link_options(${sanitizer_flags})
endif()
if(VELTRIX_COVERAGE)
    add_compile_options(--coverage -fprofile-update=atomic)
    add_link_options(--coverage)
endif()
