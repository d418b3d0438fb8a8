# Shared by the toolchain files: a cross build for TEMOR_CROSS_TRIPLE with
# Debian's cross compilers and sysroot under /usr/<triple>. Programs built
# here (tests, test discovery) run under qemu-user (TEMOR_CROSS_QEMU).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${TEMOR_CROSS_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${TEMOR_CROSS_TRIPLE}-g++)
set(CMAKE_FIND_ROOT_PATH /usr/${TEMOR_CROSS_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR ${TEMOR_CROSS_QEMU} -L /usr/${TEMOR_CROSS_TRIPLE})
