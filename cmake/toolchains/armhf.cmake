# 32 bits, also for `time_t`; `char` has no sign.
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(xelpush_triplet arm-linux-gnueabihf)
set(xelpush_emulator qemu-arm)
include("${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake")
