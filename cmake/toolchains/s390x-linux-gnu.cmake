# A big-endian machine, to run the tests with the other byte order.
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(TEMOR_CROSS_TRIPLE s390x-linux-gnu)
set(TEMOR_CROSS_QEMU qemu-s390x)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
