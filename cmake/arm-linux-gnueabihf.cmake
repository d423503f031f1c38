# SPDX-License-Identifier: Apache-2.0
# 32-bit ARM, the device's width and byte order, with Debian's cross compiler; what is built runs in user-mode
# emulation. Packages: g++-arm-linux-gnueabihf, qemu-user-static.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm-static -L /usr/arm-linux-gnueabihf)

# The compiler notes that arguments of some C++ library types were passed differently before its version 7.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
