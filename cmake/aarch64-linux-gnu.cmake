# SPDX-License-Identifier: Apache-2.0
# Cross-compile for 64-bit Arm with Debian's compiler and run the tests under qemu-user:
#   cmake -B build/aarch64 --toolchain cmake/aarch64-linux-gnu.cmake -DV6COMP_BUILD_TOOL=OFF -DCMAKE_PREFIX_PATH=<GTest>
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64;-L;/usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
