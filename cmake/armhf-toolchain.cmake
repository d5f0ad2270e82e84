# 32-bit ARM Linux, hard float, as Debian's armhf cross compilers build it; tests run under qemu-arm.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)

set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH /usr/arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)

find_program(COMMONUTILITIES_QEMU_ARM qemu-arm)
if(COMMONUTILITIES_QEMU_ARM)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${COMMONUTILITIES_QEMU_ARM} -L /usr/arm-linux-gnueabihf)
endif()
