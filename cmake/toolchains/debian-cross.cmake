# What the toolchain files for Debian's cross compilers have in common. They set GATEWAY_TRIPLET before they include
# this. The libraries come from the sysroot that scripts/make-sysroot.sh makes.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${GATEWAY_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${GATEWAY_TRIPLET}-g++)
set(CMAKE_STRIP ${GATEWAY_TRIPLET}-strip)
set(CMAKE_LIBRARY_ARCHITECTURE ${GATEWAY_TRIPLET})

if(NOT GATEWAY_SYSROOT)
  set(GATEWAY_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../../build/sysroot/${GATEWAY_ARCHITECTURE})
endif()
cmake_path(ABSOLUTE_PATH GATEWAY_SYSROOT NORMALIZE)
if(NOT EXISTS ${GATEWAY_SYSROOT}/usr/include)
  message(FATAL_ERROR "no sysroot in ${GATEWAY_SYSROOT}: run scripts/make-sysroot.sh ${GATEWAY_ARCHITECTURE}")
endif()
set(CMAKE_SYSROOT ${GATEWAY_SYSROOT})
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES GATEWAY_SYSROOT)

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# pkg-config looks into the sysroot, and nowhere else.
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${GATEWAY_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR}
  ${GATEWAY_SYSROOT}/usr/lib/${GATEWAY_TRIPLET}/pkgconfig:${GATEWAY_SYSROOT}/usr/share/pkgconfig)
