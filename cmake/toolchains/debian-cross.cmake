# What the files beside this one share: a Linux of another processor, with the compilers and libraries of Debian's
# g++-<triplet> and the machine itself played by qemu-user. The file that includes this one sets `xelpush_triplet` and
# `xelpush_emulator`.
#
# Clang compiles against the cross compiler's libraries: in a fraction of GCC's time, with the same code behind it.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET ${xelpush_triplet})
set(CMAKE_CXX_COMPILER_TARGET ${xelpush_triplet})
set(CMAKE_CROSSCOMPILING_EMULATOR ${xelpush_emulator} -L /usr/${xelpush_triplet})

set(CMAKE_FIND_ROOT_PATH /usr/${xelpush_triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
