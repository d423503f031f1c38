# SPDX-License-Identifier: Apache-2.0
# ARM without an operating system, the closest to the device that Debian has a compiler for: the module alone,
# as one relocatable object. An ARMv7-A core with division, Thumb-2. Packages: gcc-arm-none-eabi,
# libnewlib-arm-none-eabi, libstdc++-arm-none-eabi-newlib.
set(CMAKE_SYSTEM_NAME Generic)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-none-eabi-gcc)
set(CMAKE_CXX_COMPILER arm-none-eabi-g++)
# A program cannot be linked without the start-up code of a board.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

set(CMAKE_C_FLAGS_INIT "-mcpu=cortex-a7 -mthumb")
set(CMAKE_CXX_FLAGS_INIT "-mcpu=cortex-a7 -mthumb -isystem ${CMAKE_CURRENT_LIST_DIR}/arm-none-eabi")
