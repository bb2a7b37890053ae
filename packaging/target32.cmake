# SPDX-License-Identifier: Apache-2.0
# The 32-bit little-endian target on a 64-bit machine: multilib compilers, and the libraries that are used from a sysroot of their own.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES SCHEDCLI_SYSROOT32)

set(ENV{PKG_CONFIG_SYSROOT_DIR} ${SCHEDCLI_SYSROOT32})
set(ENV{PKG_CONFIG_LIBDIR} ${SCHEDCLI_SYSROOT32}/usr/lib/i386-linux-gnu/pkgconfig:${SCHEDCLI_SYSROOT32}/usr/share/pkgconfig)

set(sysroot_libraries ${SCHEDCLI_SYSROOT32}/usr/lib/i386-linux-gnu:${SCHEDCLI_SYSROOT32}/lib/i386-linux-gnu)
set(CMAKE_C_FLAGS_INIT -m32)
set(CMAKE_CXX_FLAGS_INIT -m32)
# The tests run from the build tree, so the sysroot's libraries are found by rpath; in its old form, which also holds for what these
# libraries need themselves.
foreach(kind EXE SHARED)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT
      "-m32 -Wl,--disable-new-dtags -Wl,-rpath,${sysroot_libraries} -Wl,-rpath-link,${sysroot_libraries}")
endforeach()
