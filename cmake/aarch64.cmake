# 64-bit ARM Linux, cross-built with Debian's compiler for it. QEMU's user mode runs what was built, with the C
# and C++ libraries that come with the compiler: nothing of a foreign architecture has to be installed.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

find_program(OMBRIX_QEMU NAMES qemu-aarch64 qemu-aarch64-static)
if(OMBRIX_QEMU)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${OMBRIX_QEMU} -L /usr/aarch64-linux-gnu)
endif()
