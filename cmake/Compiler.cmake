# Language level, warnings, hardening and instrumentation for every target below this list.

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "" FORCE)
endif()

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
  set(CMAKE_C_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(QVRFUTIL_WERROR)
  add_compile_options(-Werror)
endif()

add_compile_definitions(_GNU_SOURCE)
set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O2 -g -DNDEBUG")
set(CMAKE_C_FLAGS_RELWITHDEBINFO "-O2 -g -DNDEBUG")
set(CMAKE_CXX_FLAGS_DEBUG "-Og -g")
set(CMAKE_C_FLAGS_DEBUG "-Og -g")

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
  add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -fstack-protector-strong -fstack-clash-protection)
  add_link_options(-Wl,-z,relro,-z,now -Wl,-z,noexecstack)
endif()

if(QVRFUTIL_COVERAGE)
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()
