# Cross-compiles for 32-bit x86 against the private sysroot that script/setup lays out.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)

get_filename_component(ZVK_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../build/i386-sysroot" ABSOLUTE)
set(CMAKE_SYSROOT "${ZVK_SYSROOT}")
set(CMAKE_C_COMPILER i686-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER i686-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu)

# SSE2 arithmetic only: with the x87 unit, results would depend on the width.
set(CMAKE_C_FLAGS_INIT "-msse2 -mfpmath=sse")
set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse")

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${ZVK_SYSROOT}")
set(ENV{PKG_CONFIG_LIBDIR}
    "${ZVK_SYSROOT}/usr/lib/i386-linux-gnu/pkgconfig:${ZVK_SYSROOT}/usr/share/pkgconfig")

# Runs a 32-bit program directly where the kernel can, through qemu where it cannot.
set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/../script/i386")
