# Language level, warnings, hardening and instrumentation for every target below this list.

# What was given on the command line or by a toolchain file holds.
foreach(setting CMAKE_CXX_STANDARD=17 CMAKE_C_STANDARD=11)
  string(REPLACE "=" ";" setting ${setting})
  list(GET setting 0 name)
  list(GET setting 1 value)
  if(NOT ${name})
    set(${name} ${value})
  endif()
endforeach()
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "" FORCE)
endif()

find_program(CCACHE_PROGRAM ccache)
foreach(language C CXX)
  if(CCACHE_PROGRAM AND NOT DEFINED CMAKE_${language}_COMPILER_LAUNCHER)
    set(CMAKE_${language}_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
  endif()
endforeach()

# Files over 2 GiB; an ABI that nobody runs the tests on.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  message(WARNING "32-bit systems are not supported: it compiles there, and no test has run")
  add_compile_definitions(_FILE_OFFSET_BITS=64)
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(QVRFUTIL_WERROR)
  add_compile_options(-Werror)
endif()

add_compile_definitions(_GNU_SOURCE)
foreach(language C CXX)
  if(CMAKE_${language}_FLAGS_DEBUG STREQUAL "-g")  # CMake's own choice, nobody's
    set(CMAKE_${language}_FLAGS_DEBUG "-Og -g")
  endif()
endforeach()

# hardening(<flag>): used where the compiler has it for this architecture
include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)
function(hardening flag)
  string(MAKE_C_IDENTIFIER "has${flag}" has)
  check_cxx_compiler_flag(${flag} ${has})
  if(${has})
    add_compile_options(${flag})
  endif()
endfunction()

# The strongest _FORTIFY_SOURCE that compiler and C library have together, unless the caller chose one.
function(fortify)
  if("${CMAKE_C_FLAGS} ${CMAKE_CXX_FLAGS}" MATCHES "_FORTIFY_SOURCE")
    return()
  endif()
  set(CMAKE_REQUIRED_FLAGS "-O2 -Werror -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3")
  check_cxx_source_compiles("
    #include <features.h>
    #if __USE_FORTIFY_LEVEL < 3
    #error not here
    #endif
    int main() { return 0; }" has_fortify_3)
  set(level 2)
  if(has_fortify_3)
    set(level 3)
  endif()
  add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=${level})
endfunction()

if(QVRFUTIL_SANITIZE OR CMAKE_BUILD_TYPE STREQUAL "Debug")
  add_compile_definitions(_GLIBCXX_ASSERTIONS)
endif()
if(QVRFUTIL_SANITIZE)
  # Line tables are enough for a report.
  add_compile_options(-g1 -fsanitize=${QVRFUTIL_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${QVRFUTIL_SANITIZE})
  set(sanitize "-fsanitize=${QVRFUTIL_SANITIZE}")  # for programs that tests build outside this list
  if(CMAKE_C_COMPILER_ID MATCHES "Clang" AND QVRFUTIL_SANITIZE MATCHES "undefined")
    # A program in C still carries the checks of the C++ library that it links.
    add_link_options($<$<LINK_LANGUAGE:C>:-fsanitize-link-c++-runtime>)
    link_libraries($<$<LINK_LANGUAGE:C>:stdc++>)
    string(APPEND sanitize " -fsanitize-link-c++-runtime -lstdc++")
  endif()
elseif(NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  include(CheckPIESupported)
  check_pie_supported(LANGUAGES C CXX)
  fortify()
  # Jumps and returns lead where the compiler meant them to: CET on x86, branch protection on arm64.
  foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection=full -mbranch-protection=standard)
    hardening(${flag})
  endforeach()
  add_link_options(-Wl,-z,relro,-z,now -Wl,-z,noexecstack)
endif()

if(QVRFUTIL_COVERAGE)
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()
