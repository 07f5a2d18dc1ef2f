# Toolchain of the preset arm-test: the tests for the instrument's processor, under emulation. They need the C++ run-time
# library and glibc, so this is not the program that ships (instrument.cmake), but the same sources in the same
# instructions. tools/instrument/arm-packages makes the folder K905_ARM_PACKAGES.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-linux-gnueabi-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabi-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR "qemu-arm;-L;/usr/arm-linux-gnueabi")

list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES K905_ARM_PACKAGES)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabi)
set(CMAKE_FIND_ROOT_PATH ${K905_ARM_PACKAGES} /usr/arm-linux-gnueabi)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(machine "-march=armv5te -mtune=arm926ej-s -mfloat-abi=soft -marm")
# The simulator guards 64-bit times against limits that a 32-bit time cannot reach. All is built by one compiler, so what
# it says of older ones' calling conventions does not matter.
set(CMAKE_C_FLAGS_INIT "${machine} -isystem ${K905_ARM_PACKAGES}/usr/include -Wno-type-limits -Wno-psabi")
set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT}")
# An old-style run path also counts for the libraries' own libraries.
set(libraries ${K905_ARM_PACKAGES}/usr/lib/arm-linux-gnueabi)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-L${libraries} -Wl,-rpath,${libraries} -Wl,--disable-new-dtags")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${CMAKE_EXE_LINKER_FLAGS_INIT}")
# The simulator's 64-bit atomics are calls on this processor. (The product has none.)
set(CMAKE_CXX_STANDARD_LIBRARIES_INIT "-latomic")
