# 32-bit little-endian MIPS, the gateway's own processor.
set(CMAKE_SYSTEM_PROCESSOR mips)
set(GATEWAY_ARCHITECTURE mipsel)
set(GATEWAY_TRIPLET mipsel-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)

# The linker's 64 kB between the parts that are written and those that are not would be mostly padding. Kernels for this
# processor have pages of 4 kB, a few of 16 kB.
string(APPEND CMAKE_EXE_LINKER_FLAGS_INIT " -Wl,-z,max-page-size=16384")
