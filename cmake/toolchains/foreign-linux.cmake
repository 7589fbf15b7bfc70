# SPDX-License-Identifier: MIT
#
# The coders and their tests for a Linux machine unlike this one, made with
# Debian's cross compilers and run under qemu.
#
#   -DQOLM_FOREIGN_MACHINE=mips     32 bits, big-endian
#                          s390x    64 bits, big-endian, char without a sign
#                          arm      32 bits, little-endian, char without a sign
#                          i686     32 bits, little-endian

set(QOLM_FOREIGN_MACHINE mips CACHE STRING "mips, s390x, arm or i686")
# The projects that probe the compiler read this file too.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES QOLM_FOREIGN_MACHINE)

set(emulator ${QOLM_FOREIGN_MACHINE})
set(system linux-gnu)
if(QOLM_FOREIGN_MACHINE STREQUAL arm)
  set(system linux-gnueabihf)
elseif(QOLM_FOREIGN_MACHINE STREQUAL i686)
  set(emulator i386)
endif()

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${QOLM_FOREIGN_MACHINE})
set(CMAKE_C_COMPILER ${QOLM_FOREIGN_MACHINE}-${system}-gcc)
set(CMAKE_CXX_COMPILER ${QOLM_FOREIGN_MACHINE}-${system}-g++)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The compiler's own libraries go into each program: the emulator needs no system.
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-${emulator}-static)
