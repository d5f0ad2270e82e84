# 32-bit x86 Linux with clang, over the headers and libraries of the cross compiler.
include(${CMAKE_CURRENT_LIST_DIR}/i386-toolchain.cmake)

set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET i686-linux-gnu)
set(CMAKE_CXX_COMPILER_TARGET i686-linux-gnu)
