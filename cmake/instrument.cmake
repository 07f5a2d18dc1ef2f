# Toolchain of the instrument: ARM926 class (ARMv5TE, no floating-point unit), kernel 2.6.30 with EABI. Debian's cross
# compiler makes the code, musl is the C library, everything is linked in. Neither glibc nor libstdc++ can get in:
# no folder of theirs is searched.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-linux-gnueabi-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabi-g++)
set(CMAKE_FIND_ROOT_PATH /usr/lib/arm-linux-musleabi)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(musl_headers /usr/include/arm-linux-musleabi)
set(musl_libraries /usr/lib/arm-linux-musleabi)
execute_process(COMMAND ${CMAKE_C_COMPILER} -print-file-name=include
                OUTPUT_VARIABLE compiler_headers OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)

# musl brings no kernel headers (framebuffer, I2C, clock). Those of the cross compiler lie in one folder with glibc's,
# so the three folders that are the kernel's are linked into one of their own.
set(kernel_headers ${CMAKE_BINARY_DIR}/kernel-headers)
file(MAKE_DIRECTORY ${kernel_headers})
foreach(folder linux asm asm-generic)
  file(CREATE_LINK /usr/arm-linux-gnueabi/include/${folder} ${kernel_headers}/${folder} SYMBOLIC)
endforeach()

set(machine "-march=armv5te -mtune=arm926ej-s -mfloat-abi=soft -marm")
# The build folder's own place stays out of the program: two builds in two places give the same bytes.
set(places "-ffile-prefix-map=${CMAKE_SOURCE_DIR}=. -ffile-prefix-map=${CMAKE_BINARY_DIR}=build")
set(code "-fno-pie -ffunction-sections -fdata-sections -fno-unwind-tables -fno-asynchronous-unwind-tables -Wcast-align=strict")
set(headers "-nostdinc -isystem ${musl_headers} -isystem ${compiler_headers} -isystem ${kernel_headers}")
set(CMAKE_C_FLAGS_INIT "${machine} ${code} ${headers} ${places}")
set(CMAKE_CXX_FLAGS_INIT "${machine} ${code} ${headers} -nostdinc++ ${places}")

set(CMAKE_EXE_LINKER_FLAGS_INIT
    "-static -no-pie -nostdlib -L${musl_libraries} ${musl_libraries}/crt1.o ${musl_libraries}/crti.o")
set(CMAKE_C_STANDARD_LIBRARIES
    "-Wl,--start-group -l:libc.a -l:libgcc.a -l:libgcc_eh.a -Wl,--end-group ${musl_libraries}/crtn.o")
set(CMAKE_CXX_STANDARD_LIBRARIES "${CMAKE_C_STANDARD_LIBRARIES}")
