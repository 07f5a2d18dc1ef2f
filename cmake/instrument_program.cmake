# The program for the instrument, as it ships.

# Room for the stack of each thread: musl takes it from the program's header, and without it gives 128 KiB. The measured
# need is in docs/instrument.md. A stack that is not touched takes addresses, no memory.
set(thread_stack 262144)
target_link_options(fct PRIVATE -Wl,--gc-sections -Wl,--build-id=none -Wl,-z,noexecstack
                                -Wl,-z,stack-size=${thread_stack})

# build/instrument/fct is bin/fct, which keeps its symbols, without them.
set(shipped ${PROJECT_BINARY_DIR}/fct)
add_custom_command(
  OUTPUT ${shipped}
  COMMAND ${CMAKE_STRIP} --strip-all -o ${shipped} $<TARGET_FILE:fct>
  DEPENDS fct
  COMMENT "Stripping fct"
  VERBATIM)
add_custom_target(shipped ALL DEPENDS ${shipped})

if(K905_TESTS)
  enable_testing()
  add_subdirectory(tests/instrument)
endif()
