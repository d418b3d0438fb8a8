# Cross build for arm-linux-gnueabihf with Debian's cross compilers; programs built
# here (tests, test discovery) run under qemu-user with the cross sysroot.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(TEMOR_CROSS_TRIPLE arm-linux-gnueabihf)

set(CMAKE_C_COMPILER ${TEMOR_CROSS_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${TEMOR_CROSS_TRIPLE}-g++)
set(CMAKE_FIND_ROOT_PATH /usr/${TEMOR_CROSS_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm;-L;/usr/${TEMOR_CROSS_TRIPLE})
