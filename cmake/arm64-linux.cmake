# Debian's aarch64 cross compiler, and Debian's libraries for that processor, which script/setup puts aside. What is
# built runs under qemu-user; the preset links it statically, so that the emulator need not look for a second set of
# shared libraries.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64)

# Not searched by a cross compiler of itself. The path is that of this file, also for the projects within which
# CMake tries out the compiler.
set(VORN_ARM64_ROOT ${CMAKE_CURRENT_LIST_DIR}/../.setup/arm64)
set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES ${VORN_ARM64_ROOT}/usr/include)
set(CMAKE_EXE_LINKER_FLAGS_INIT -L${VORN_ARM64_ROOT}/usr/lib/aarch64-linux-gnu)

# Programs are the host's, libraries the target's.
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu ${VORN_ARM64_ROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
