# The target: 32-bit ARM, hard float.
set(CMAKE_SYSTEM_PROCESSOR arm)
set(TEMOR_CROSS_TRIPLE arm-linux-gnueabihf)
set(TEMOR_CROSS_QEMU qemu-arm)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
