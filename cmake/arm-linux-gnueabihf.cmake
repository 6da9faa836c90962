# 32-bit ARM with glibc, tests under user-mode emulation.
set(UTL_TRIPLET arm-linux-gnueabihf)
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
