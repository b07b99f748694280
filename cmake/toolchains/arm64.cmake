# 64-bit ARM.
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(GATEWAY_ARCHITECTURE arm64)
set(GATEWAY_TRIPLET aarch64-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
