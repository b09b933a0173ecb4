# SPDX-License-Identifier: Apache-2.0
# Builds for another of Debian's architectures, VELO_ARCH (aarch64 or armhf), against the root folder that
# `script/test --arch` makes; what is built runs in qemu.
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VELO_ARCH)
set(CMAKE_SYSTEM_NAME Linux)
if(VELO_ARCH STREQUAL "aarch64")
    set(CMAKE_SYSTEM_PROCESSOR aarch64)
    set(TRIPLET aarch64-linux-gnu)
    set(QEMU qemu-aarch64)
elseif(VELO_ARCH STREQUAL "armhf")
    set(CMAKE_SYSTEM_PROCESSOR armv7l)
    set(TRIPLET arm-linux-gnueabihf)
    set(QEMU qemu-arm)
    # What changed for callers with g++ 7, said at each use of a container.
    set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
else()
    message(FATAL_ERROR "VELO_ARCH is '${VELO_ARCH}'; it must be aarch64 or armhf")
endif()

cmake_path(SET CMAKE_SYSROOT NORMALIZE "${CMAKE_CURRENT_LIST_DIR}/../build/sysroot-${VELO_ARCH}")
set(CMAKE_C_COMPILER ${TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${TRIPLET}-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR ${QEMU};-L;${CMAKE_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
foreach(KIND LIBRARY INCLUDE PACKAGE)
    set(CMAKE_FIND_ROOT_PATH_MODE_${KIND} ONLY)
endforeach()
