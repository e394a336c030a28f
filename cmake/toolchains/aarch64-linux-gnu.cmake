# arm64 Linux from another Linux: Debian's cross compiler, and its emulator for what is built. Libraries that
# only tests and tools need are looked for below LUMETRA_TARGET_PACKAGES (tools/unpack_packages.sh), never in
# this machine's own folders; without their shared objects, which are not unpacked, the archives are taken.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
if(LUMETRA_ARM64_CLANG)  # with the cross compiler's libraries
    set(CMAKE_C_COMPILER clang)
    set(CMAKE_CXX_COMPILER clang++)
    set(CMAKE_C_COMPILER_TARGET aarch64-linux-gnu)
    set(CMAKE_CXX_COMPILER_TARGET aarch64-linux-gnu)
else()
    set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
    set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
endif()
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu ${LUMETRA_TARGET_PACKAGES})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES LUMETRA_TARGET_PACKAGES LUMETRA_ARM64_CLANG)

# Debian keeps headers that differ between architectures here, and its own compilers look there by themselves.
set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES ${LUMETRA_TARGET_PACKAGES}/usr/include/aarch64-linux-gnu)

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L /usr/aarch64-linux-gnu)
