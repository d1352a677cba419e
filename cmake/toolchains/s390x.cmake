# 64 bits, the highest octet first.
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(xelpush_triplet s390x-linux-gnu)
set(xelpush_emulator qemu-s390x)
include("${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake")
