# A Linux on this processor whose C library is musl, and whose C++ library is clang's on top of it: nothing of glibc's and
# nothing of GCC's. Debian packages musl alone; scripts/lib/musl-system makes the rest, in the folder that is the system's
# root here. musl's own loader runs the programs, so nothing has to play the machine.
set(CMAKE_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../../build/musl-system")
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET x86_64-linux-musl)
set(CMAKE_CXX_COMPILER_TARGET x86_64-linux-musl)
# Without --gcc-toolchain clang would take the start files and libgcc of this machine's GCC, which are made for glibc.
set(xelpush_alone "--gcc-toolchain=${CMAKE_SYSROOT}")
set(CMAKE_C_FLAGS_INIT "${xelpush_alone}")
set(CMAKE_CXX_FLAGS_INIT "${xelpush_alone} -stdlib++-isystem ${CMAKE_SYSROOT}/usr/include/c++/v1")
# libc++.a holds its unwinder.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-stdlib=libc++ -rtlib=compiler-rt --unwindlib=none")

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
