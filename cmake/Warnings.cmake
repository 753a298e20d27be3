# Warnings for every target of the project, and the optional sanitizer build.
add_library(velmora_options INTERFACE)
target_compile_options(velmora_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion
  -Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual)
# Every product a * b + c is rounded twice, as g++ does in ISO mode: clang would
# fuse some of them, and a number folded at compile time would then differ in
# its last bit from the same number computed at run time.
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  target_compile_options(velmora_options INTERFACE -ffp-contract=off)
endif()
if(VELMORA_FUZZ)
  # Every library is built for coverage-guided fuzzing (tests/fuzz): libFuzzer's
  # coverage counters, AddressSanitizer and UBSan, any report fatal.
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "VELMORA_FUZZ needs clang (CC=clang CXX=clang++): libFuzzer is part of it")
  endif()
  target_compile_options(velmora_options INTERFACE -fsanitize=fuzzer-no-link,address,undefined
                         -fno-sanitize-recover=all -fno-omit-frame-pointer
                         -fsanitize-coverage-ignorelist=${CMAKE_SOURCE_DIR}/tests/fuzz/coverage-ignorelist.txt)
  target_link_options(velmora_options INTERFACE -fsanitize=address,undefined)
endif()
if(VELMORA_SANITIZE)
  target_compile_options(velmora_options INTERFACE -fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  target_link_options(velmora_options INTERFACE -fsanitize=address,undefined)
endif()

# velmora_library(NAME DEPS...): one static library per subsystem folder, built
# from the sources beside the CMakeLists.txt that calls it.
function(velmora_library name)
  file(GLOB sources CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/*.cpp")
  if(sources)
    add_library(${name} STATIC ${sources})
    target_include_directories(${name} PUBLIC "${CMAKE_SOURCE_DIR}/src")
    target_link_libraries(${name} PUBLIC velmora_options ${ARGN})
  else()  # a subsystem whose first source has not arrived yet
    add_library(${name} INTERFACE)
    target_include_directories(${name} INTERFACE "${CMAKE_SOURCE_DIR}/src")
    target_link_libraries(${name} INTERFACE velmora_options ${ARGN})
  endif()
endfunction()
