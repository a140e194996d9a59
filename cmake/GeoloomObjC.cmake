# The Objective-C interface needs GCC's runtime and GNUstep's Foundation; it is left out if they are missing. GCC compiles it, also
# if another compiler compiles the C++ code, because its runtime needs object files of GCC.

option(GEOLOOM_BUILD_OBJC "Build the Objective-C interface (left out if its packages are missing)" ON)

# Applications need these options too.
set(GEOLOOM_OBJC_FLAGS -fexceptions -fobjc-exceptions -fconstant-string-class=NSConstantString
  -DGNUSTEP -DGNUSTEP_BASE_LIBRARY=1 -DGNU_RUNTIME=1 -D_NATIVE_OBJC_EXCEPTIONS)

# geoloom_objc_missing(RESULT): the reason why it cannot be built, or an empty text
function(geoloom_objc_missing result)
  find_program(GEOLOOM_OBJC_COMPILER NAMES gcc cc DOC "GCC with Objective-C")
  find_path(GNUSTEP_INCLUDE_DIR Foundation/Foundation.h PATH_SUFFIXES GNUstep)
  find_library(GNUSTEP_BASE_LIBRARY gnustep-base)
  find_library(OBJC_LIBRARY NAMES objc libobjc.so.4)
  set(missing)
  if(NOT GNUSTEP_INCLUDE_DIR OR NOT GNUSTEP_BASE_LIBRARY)
    set(missing "GNUstep Base (Debian: libgnustep-base-dev)")
  elseif(NOT GEOLOOM_OBJC_COMPILER OR NOT OBJC_LIBRARY)
    set(missing "GCC's Objective-C (Debian: gobjc)")
  else()
    set(probe ${CMAKE_BINARY_DIR}/CMakeFiles/probe.m)
    file(WRITE ${probe} "#import <Foundation/Foundation.h>\nint main(void) { return [NSObject new] == nil; }\n")
    execute_process(COMMAND ${GEOLOOM_OBJC_COMPILER} ${GEOLOOM_OBJC_FLAGS} -isystem ${GNUSTEP_INCLUDE_DIR} -fsyntax-only ${probe}
      RESULT_VARIABLE failed OUTPUT_QUIET ERROR_QUIET)
    if(failed)
      set(missing "GCC's Objective-C (Debian: gobjc)")
    elseif(GEOLOOM_SANITIZE AND NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      set(missing "the sanitizers of GCC, which compiles it; this build has another compiler's")
    endif()
  endif()
  set(${result} "${missing}" PARENT_SCOPE)
endfunction()

set(GEOLOOM_HAS_OBJC OFF)
if(GEOLOOM_BUILD_OBJC)
  geoloom_objc_missing(missing)
  if(missing)
    message(STATUS "objc: without the Objective-C interface, which needs ${missing}")
  else()
    set(CMAKE_OBJC_COMPILER ${GEOLOOM_OBJC_COMPILER})
    enable_language(OBJC)
    set(GEOLOOM_HAS_OBJC ON)
  endif()
endif()

# clang for Objective-C with blocks; it does not look for GCC's runtime headers by itself.
if(GEOLOOM_HAS_OBJC)
  find_program(GEOLOOM_CLANG clang)
  execute_process(COMMAND ${GEOLOOM_OBJC_COMPILER} -print-file-name=include
    OUTPUT_VARIABLE GEOLOOM_OBJC_RUNTIME_INCLUDE_DIR OUTPUT_STRIP_TRAILING_WHITESPACE)
  set(GEOLOOM_CLANG_OBJC ${GEOLOOM_CLANG} -std=gnu17 ${GEOLOOM_OBJC_FLAGS} -fobjc-runtime=gcc -fblocks
    -isystem ${GNUSTEP_INCLUDE_DIR} -idirafter ${GEOLOOM_OBJC_RUNTIME_INCLUDE_DIR}
    -I${PROJECT_SOURCE_DIR} -I${PROJECT_SOURCE_DIR}/objc -I${PROJECT_SOURCE_DIR}/objc/blocks
    -Wall -Wextra -Wpedantic -Wshadow -Wno-unused-parameter $<$<BOOL:${GEOLOOM_WERROR}>:-Werror>)
endif()

# geoloom_clang_object(RESULT SOURCE): compiles Objective-C with blocks, since CMake uses one compiler for each language, here gcc.
# The object is built without sanitizers: those of two compilers cannot be combined.
function(geoloom_clang_object result source)
  set(object ${CMAKE_CURRENT_BINARY_DIR}/${source}.o)
  add_custom_command(OUTPUT ${object}
    COMMAND ${GEOLOOM_CLANG_OBJC} -fPIC -O1 -g -MD -MF ${object}.d -c ${CMAKE_CURRENT_SOURCE_DIR}/${source} -o ${object}
    DEPENDS ${source} DEPFILE ${object}.d COMMAND_EXPAND_LISTS VERBATIM COMMENT "Compiling ${source} with blocks")
  set(${result} ${object} PARENT_SCOPE)
endfunction()
