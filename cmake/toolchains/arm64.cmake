# 64 bits; `char` has no sign.
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(xelpush_triplet aarch64-linux-gnu)
set(xelpush_emulator qemu-aarch64)
include("${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake")
