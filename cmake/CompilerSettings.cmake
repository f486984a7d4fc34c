# Warnings for our own code, and the flags that keep arithmetic the same everywhere.
add_library(ombrix_warnings INTERFACE)
target_compile_options(ombrix_warnings INTERFACE -Wall -Wextra -Wconversion -Wshadow)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  target_compile_options(ombrix_warnings INTERFACE -Wthread-safety)
endif()
if(OMBRIX_WERROR)
  target_compile_options(ombrix_warnings INTERFACE -Werror)
endif()

# A fused multiply-add rounds once where the formulas round twice. GCC fuses by itself wherever the machine can:
# always on AArch64.
add_compile_options(-ffp-contract=off)
# Flags of the user's or a compiler's own habit may loosen more than that.
include(CheckCXXSourceCompiles)
unset(OMBRIX_EXACT_ARITHMETIC CACHE)  # flags may have changed since
check_cxx_source_compiles("
#include <cfloat>
#if defined(__FAST_MATH__) || FLT_EVAL_METHOD < 0 || FLT_EVAL_METHOD == 1 || FLT_EVAL_METHOD == 2
#error every operation has to round, in the precision it is written in
#endif
int main() {}" OMBRIX_EXACT_ARITHMETIC)
if(NOT OMBRIX_EXACT_ARITHMETIC)
  message(FATAL_ERROR "The compiler with '${CMAKE_CXX_FLAGS}' does not round every operation (such as with "
    "-ffast-math, or -Ofast, or for the x87), which the results depend on")
endif()

if(OMBRIX_SANITIZE)
  add_compile_options(-fsanitize=${OMBRIX_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${OMBRIX_SANITIZE})
endif()

# The library counts the edges it takes; what steers by them is linked into the fuzz targets alone.
if(OMBRIX_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "OMBRIX_FUZZ needs clang: its libFuzzer drives the targets")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

find_program(OMBRIX_CCACHE ccache)
if(OMBRIX_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${OMBRIX_CCACHE})
endif()

# ombrix_precompile(TARGET HEADER...): large headers of others that most files of a program take. Not where there is
# a compiler cache: it saves more, and cannot see into a precompiled header.
function(ombrix_precompile target)
  if(NOT CMAKE_CXX_COMPILER_LAUNCHER)
    target_precompile_headers(${target} PRIVATE ${ARGN})
  endif()
endfunction()
