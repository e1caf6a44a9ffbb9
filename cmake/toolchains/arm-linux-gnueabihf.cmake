# For the module's processor, a Cortex-A7 with hardware floating point, from a Debian system:
#   dpkg --add-architecture armhf && apt-get update
#   apt-get install crossbuild-essential-armhf libmosquitto-dev:armhf libcjson-dev:armhf libspdlog-dev:armhf \
#       libfmt-dev:armhf libcli11-dev
#   cmake -S . -B build/armhf -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/arm-linux-gnueabihf.cmake \
#       -DCMAKE_BUILD_TYPE=Release -DVELTRIX_BUILD_TESTS=OFF -DVELTRIX_BUILD_BENCH=OFF
# VELTRIX_SYSROOT names an unpacked root file system to take headers and libraries from in place of the installed ones.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(triplet arm-linux-gnueabihf)

set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)
# The compiler speaks of an ABI change of its version 7.1 at every std::vector of 64-bit values that is passed.
set(CMAKE_C_FLAGS_INIT "-mcpu=cortex-a7 -mfpu=neon-vfpv4 -mfloat-abi=hard")
set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT} -Wno-psabi")
set(CMAKE_LIBRARY_ARCHITECTURE ${triplet})

list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VELTRIX_SYSROOT)
if(VELTRIX_SYSROOT)
    list(APPEND CMAKE_FIND_ROOT_PATH "${VELTRIX_SYSROOT}")
    set(ENV{PKG_CONFIG_SYSROOT_DIR} "${VELTRIX_SYSROOT}")
    # Libraries that a library of the root file system needs in turn.
    string(APPEND CMAKE_EXE_LINKER_FLAGS_INIT " -Wl,-rpath-link,${VELTRIX_SYSROOT}/usr/lib/${triplet}")
    string(APPEND CMAKE_SHARED_LINKER_FLAGS_INIT " -Wl,-rpath-link,${VELTRIX_SYSROOT}/usr/lib/${triplet}")
endif()
list(APPEND CMAKE_FIND_ROOT_PATH /usr/${triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)

set(ENV{PKG_CONFIG_LIBDIR}
    "${VELTRIX_SYSROOT}/usr/lib/${triplet}/pkgconfig:${VELTRIX_SYSROOT}/usr/share/pkgconfig")
