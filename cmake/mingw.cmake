# 64-bit Windows, cross-built with Debian's MinGW. Wine runs what was built.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

# scripts/test-windows leaves what Debian has no Windows package of in this folder.
cmake_path(SET OMBRIX_WINDOWS_PREFIX NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../build/windows/prefix)
set(CMAKE_FIND_ROOT_PATH ${OMBRIX_WINDOWS_PREFIX} /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Libraries that go into ours as a whole: nothing but Windows' own is needed beside it.
set(ZLIB_LIBRARY /usr/x86_64-w64-mingw32/lib/libz.a CACHE FILEPATH "")
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
set(CMAKE_SHARED_LINKER_FLAGS_INIT -static)

find_program(OMBRIX_WINE NAMES wine64 wine PATHS /usr/lib/wine)
if(OMBRIX_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${OMBRIX_WINE})
endif()
