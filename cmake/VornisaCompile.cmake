# Compiler settings of all targets.
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release)
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Werror -Wshadow "$<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>")

# GCC 12 warns falsely of overlapping copies where a literal is joined to a string (its bug 105651).
add_compile_options("$<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-restrict>")

# In a unity build sources shadow each other's names, and GCC takes them for headers.
if(CMAKE_UNITY_BUILD)
  add_compile_options("$<$<COMPILE_LANGUAGE:CXX>:-Wno-shadow>" "$<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-subobject-linkage>")
endif()

# ccache caches compilations with a precompiled header only if it sees the header's contents.
set(VORNISA_CACHEABLE_HEADERS "$<$<COMPILE_LANG_AND_ID:CXX,GNU>:-fpch-preprocess>"
                              "$<$<COMPILE_LANG_AND_ID:CXX,Clang>:SHELL:-Xclang -fno-pch-timestamp>")

# vornisa_precompile(TARGET HEADERS): precompiles the headers of the standard library and of FFmpeg, which take most of the
# compile time. Not in unity builds, which read them once for many sources. With precompiled headers GCC 12 warns of
# overflows and overreads that do not exist, so these warnings are off there; the optimised build has all warnings.
function(vornisa_precompile target)
  if(NOT CMAKE_UNITY_BUILD AND (VORNISA_SANITIZE OR NOT CMAKE_CXX_COMPILER_LAUNCHER))
    target_precompile_headers(${target} PRIVATE ${ARGN})
    target_compile_options(${target} PRIVATE ${VORNISA_CACHEABLE_HEADERS})
    target_compile_options(${target} PRIVATE "$<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-stringop-overflow;-Wno-stringop-overread;-Wno-array-bounds>")
  endif()
endfunction()

# Thread-safety analysis of the lock annotations of host/objects/mutex.h; an error like every warning.
add_compile_options("$<$<COMPILE_LANG_AND_ID:CXX,Clang>:-Wthread-safety>")

# Comma-separated sanitizers, as for -fsanitize. They instrument every target.
set(VORNISA_SANITIZE "" CACHE STRING "Sanitizers to build with, for example address,undefined")
# The list has commas, so generator expressions need this instead.
set(VORNISA_SANITIZED OFF)
if(VORNISA_SANITIZE)
  set(VORNISA_SANITIZED ON)
  add_compile_options(-fsanitize=${VORNISA_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${VORNISA_SANITIZE})
  # Clang links the C++ part of the sanitizer runtime into C++ programs only, but C++ libraries need it in C programs, too.
  add_link_options("$<$<LINK_LANG_AND_ID:C,Clang>:SHELL:-fsanitize-link-c++-runtime -lstdc++>")
endif()

# Libraries and programs of one build are side by side, so that a program finds its libraries without set-up.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
set(CMAKE_INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
