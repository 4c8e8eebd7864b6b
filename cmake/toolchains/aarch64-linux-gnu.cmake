# 64-bit ARM Linux from another machine: Debian's g++-aarch64-linux-gnu, and qemu-user to run what comes out.
# Use: cmake --preset cross-aarch64
# The cross compiler's own C library serves the library and its tests. What links to more, programs and benchmarks, finds it
# in VEKR_ARM64_ROOT, which scripts/arm64_root.sh fills.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
if(NOT CMAKE_C_COMPILER)
  set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
endif()
if(NOT CMAKE_CXX_COMPILER)
  set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
endif()

list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VEKR_ARM64_ROOT)
if(VEKR_ARM64_ROOT)
  set(vekr_root ${VEKR_ARM64_ROOT})
  set(CMAKE_SYSROOT ${vekr_root})
  set(ENV{PKG_CONFIG_SYSROOT_DIR} ${vekr_root})
  set(ENV{PKG_CONFIG_LIBDIR} ${vekr_root}/usr/lib/aarch64-linux-gnu/pkgconfig:${vekr_root}/usr/share/pkgconfig)
else()
  set(vekr_root /usr/aarch64-linux-gnu)
endif()
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L ${vekr_root})
# Programs are this machine's, libraries and headers the target's alone.
set(CMAKE_FIND_ROOT_PATH ${vekr_root})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
