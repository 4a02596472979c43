# Cross-builds for the instrument's 64-bit ARM CPU with Debian's cross compiler and its multiarch
# packages (qtbase5-dev:arm64 and the rest); the build machine's moc, rcc and uic stay its own.
# Programs built here, tests among them, run under qemu-user.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
# With a shim that the project builds (cmake/qemupidfdshim.cpp says why).
set(OSTREL_QEMU_SHIM ${CMAKE_BINARY_DIR}/qemu-pidfd-shim.so)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -E LD_PRELOAD=${OSTREL_QEMU_SHIM})
# Libraries found through pkg-config, as cpp-httplib is, are the instrument's too.
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/aarch64-linux-gnu/pkgconfig:/usr/share/pkgconfig)
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
