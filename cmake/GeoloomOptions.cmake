# Options of the build, and `geoloom_flags`, the compile options of all our code.

option(GEOLOOM_BUILD_TESTS "Build the test suite" ${PROJECT_IS_TOP_LEVEL})
option(GEOLOOM_BUILD_EXAMPLES "Build the examples" ${PROJECT_IS_TOP_LEVEL})
option(GEOLOOM_BUILD_BENCHMARKS "Build the benchmarks" ${PROJECT_IS_TOP_LEVEL})
option(GEOLOOM_BUILD_FUZZERS "Build the fuzzers" OFF)
option(GEOLOOM_GPSD "Build the location provider that uses gpsd" ON)
option(GEOLOOM_WERROR "Treat warnings as errors" ${PROJECT_IS_TOP_LEVEL})
set(GEOLOOM_SANITIZE "" CACHE STRING "Value of -fsanitize= for all our code, or empty")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

find_program(CCACHE ccache)
if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()

add_library(geoloom_flags INTERFACE)
# Results in 32-bit floats are part of the contract: a fused multiply-add would change them.
target_compile_options(geoloom_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -ffp-contract=off
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
  $<$<BOOL:${GEOLOOM_WERROR}>:-Werror>)
if(GEOLOOM_SANITIZE)
  target_compile_options(geoloom_flags INTERFACE -fsanitize=${GEOLOOM_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(geoloom_flags INTERFACE -fsanitize=${GEOLOOM_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # With sanitizers, GCC 12 gives false warnings of these kinds inside the standard library.
    target_compile_options(geoloom_flags INTERFACE -Wno-maybe-uninitialized -Wno-stringop-overflow -Wno-tsan)
  endif()
endif()
