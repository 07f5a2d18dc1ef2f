# Rules shared by every folder. A unit is a .cpp file in its folder; adding the file adds the unit.

add_compile_options(-Wall -Wextra -Wshadow -Wpointer-arith -Wformat=2 -Wno-format-nonliteral -Wundef)
if(K905_WERROR)
  add_compile_options(-Werror)
endif()
if(K905_SANITIZE)
  # Without vptr: it needs the type information that the product is built without.
  add_compile_options(-fsanitize=${K905_SANITIZE} -fno-sanitize=vptr -fno-omit-frame-pointer
                      -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${K905_SANITIZE})
endif()
option(K905_FUZZ "Build the fuzzers instead of the replay of their inputs" OFF)
option(K905_COVERAGE "Count what the tests reach of the product" OFF)
if(K905_SANITIZE MATCHES "address")
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "The address sanitizer's build and the fuzzers are compiled by clang++")
  endif()
  add_compile_definitions(K905_ADDRESS_SANITIZER)
  add_compile_options(-fno-sanitize=function)  # the simulator passes calls on by a common type
endif()
if(K905_SANITIZE MATCHES "address" AND NOT K905_FUZZ)
  # One run-time library for a program and what is loaded into it.
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libclang_rt.asan-${CMAKE_SYSTEM_PROCESSOR}.so
                  OUTPUT_VARIABLE K905_ASAN_RUNTIME OUTPUT_STRIP_TRAILING_WHITESPACE)
  get_filename_component(K905_ASAN_FOLDER ${K905_ASAN_RUNTIME} DIRECTORY)
  add_link_options(-shared-libsan -Wl,-rpath,${K905_ASAN_FOLDER})
endif()

# To the tests: what is repeated many times for its statistics is done a few times there.
set(K905_SANITIZED 0)
if(K905_SANITIZE)
  set(K905_SANITIZED 1)
endif()

find_package(Threads REQUIRED)

# Flags of the product: what the instrument's own build (static, no C++ run-time library) can hold.
add_library(k905_product_flags INTERFACE)
target_compile_options(k905_product_flags INTERFACE -fno-exceptions -fno-rtti -fno-threadsafe-statics)
target_include_directories(k905_product_flags INTERFACE ${PROJECT_SOURCE_DIR})
target_link_libraries(k905_product_flags INTERFACE Threads::Threads)

# k905_product(TARGET...): what holds for every part of the product: each file is compiled as it ships, and in the coverage
# build counts what is reached of it, before the optimiser takes lines together.
function(k905_product)
  set_target_properties(${ARGN} PROPERTIES UNITY_BUILD OFF)
  if(K905_COVERAGE)
    foreach(target ${ARGN})
      target_compile_options(${target} PRIVATE -O0 --coverage -fprofile-update=atomic)
    endforeach()
  endif()
endfunction()
if(K905_COVERAGE)
  target_link_options(k905_product_flags INTERFACE --coverage)
endif()

# k905_product_library(NAME DEPENDENCY...): a static library of every .cpp in the current folder.
function(k905_product_library name)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  add_library(${name} STATIC ${sources})
  k905_product(${name})
  target_link_libraries(${name} PUBLIC k905_product_flags ${ARGN})
endfunction()

# How all of it compiles in few minutes on two processors: headers that take longer to read than the file they are in are
# read once for a target (target_precompile_headers). The tests are also compiled several files at a time, and, but for
# `debug`, `release` and `fuzz`, the simulator too (CMAKE_UNITY_BUILD in the presets): neighbours that use a name for two
# things are found there, files that forget an include in those three, which ./test builds in part or when asked.
# A class that has something of an unnamed namespace is nowhere in the main file then, which the compiler suspects.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_compile_options(-Wno-subobject-linkage)
endif()

# k905_hot_sources(FILE...): sources of the current folder where the time goes at run time are optimised in the sanitizer
# builds too; the rest of the simulator is not, which halves what it takes to compile.
function(k905_hot_sources)
  if(K905_SANITIZE)
    set_property(SOURCE ${ARGN} APPEND PROPERTY COMPILE_OPTIONS -O2)
    set_property(SOURCE ${ARGN} PROPERTY SKIP_PRECOMPILE_HEADERS ON)
  endif()
endfunction()

set(K905_TEST_COST 0)
# k905_test(NAME LIBRARY...): a GoogleTest program of every .cpp in the current folder, its tests named to CTest
# one by one (under emulation in four pieces). SOURCE_DIR and BINARY_DIR of the project reach the tests as
# K905_SOURCE_DIR and K905_BINARY_DIR, and whether this is a sanitizer build as K905_SANITIZED (0 or 1). Those of a higher
# K905_TEST_COST are started first.
function(k905_test name)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  if(NOT sources)
    return()
  endif()
  add_executable(${name} ${sources})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  target_compile_definitions(${name} PRIVATE K905_SOURCE_DIR="${PROJECT_SOURCE_DIR}"
                                             K905_BINARY_DIR="${PROJECT_BINARY_DIR}"
                                             K905_SANITIZED=${K905_SANITIZED})
  target_link_libraries(${name} PRIVATE ${ARGN} GTest::gmock GTest::gtest_main)
  # The tests' own lines run once: what counts is how long they compile, which with sanitizers is a third of -O1. Several
  # files at a time take half of what they take one by one: most of it is the same templates of GoogleTest.
  target_compile_options(${name} PRIVATE -O0)
  set_target_properties(${name} PROPERTIES UNITY_BUILD ON)
  if("${ARGN}" MATCHES "gui|device|measure")
    target_precompile_headers(${name} REUSE_FROM product_test_headers)
  else()
    target_precompile_headers(${name} REUSE_FROM test_headers)
  endif()
  if(NOT CMAKE_CROSSCOMPILING)
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300 LABELS ${name} COST "${K905_TEST_COST}")
    return()
  endif()
  # Under emulation starting a program takes longer than most tests: it runs in four pieces, not each test by itself.
  foreach(piece RANGE 3)
    add_test(NAME ${name}.${piece} COMMAND ${name})
    set_tests_properties(${name}.${piece} PROPERTIES LABELS ${name} TIMEOUT 3000
                                                     ENVIRONMENT "GTEST_TOTAL_SHARDS=4;GTEST_SHARD_INDEX=${piece}")
  endforeach()
endfunction()
