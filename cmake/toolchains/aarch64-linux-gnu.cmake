# Cross-building for arm64 on a Debian of another architecture: its crossbuild compiler, and the libraries of the arm64
# packages (dpkg --add-architecture arm64). Tests run under qemu-user.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(triplet aarch64-linux-gnu)
set(CMAKE_LIBRARY_ARCHITECTURE ${triplet})
set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)
set(CMAKE_STRIP ${triplet}-strip)
set(CMAKE_OBJCOPY ${triplet}-objcopy)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64)
# Programs are this machine's; libraries are found by the architecture's name in their directory.
set(CMAKE_FIND_ROOT_PATH /usr/${triplet} /)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/${triplet}/pkgconfig:/usr/share/pkgconfig)
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
