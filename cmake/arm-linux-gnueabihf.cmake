# 32-bit ARM with glibc, tests under user-mode emulation.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
find_program(CMAKE_C_COMPILER NAMES arm-linux-gnueabihf-gcc arm-linux-gnueabihf-gcc-12 REQUIRED) # for GoogleTest
find_program(CMAKE_CXX_COMPILER NAMES arm-linux-gnueabihf-g++ arm-linux-gnueabihf-g++-12 REQUIRED)
set(CMAKE_FIND_ROOT_PATH /usr/arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm-static -L /usr/arm-linux-gnueabihf)
