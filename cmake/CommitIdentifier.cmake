# The 40-digit identifier of the source: asked of git at build time; for a source without git given here, else zeros.
set(VELTRIX_COMMIT "" CACHE STRING "Commit identifier to build in where git has none")
set(commit_header_dir "${CMAKE_BINARY_DIR}/generated")
add_custom_target(veltrix_commit
    COMMAND ${CMAKE_COMMAND} "-DSOURCE_DIR=${PROJECT_SOURCE_DIR}" "-DHEADER=${commit_header_dir}/CommitIdentifier.h"
            "-DGIVEN=${VELTRIX_COMMIT}" -P "${CMAKE_CURRENT_LIST_DIR}/WriteCommitIdentifier.cmake"
    BYPRODUCTS "${commit_header_dir}/CommitIdentifier.h"
    VERBATIM)
