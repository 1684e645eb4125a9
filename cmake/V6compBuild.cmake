# SPDX-License-Identifier: Apache-2.0
# How everything here is compiled and linked: language level, warnings, hardening, instrumentation.
include(CheckPIESupported)
check_pie_supported()

set(CMAKE_C_STANDARD 11)
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

set(CMAKE_C_FLAGS_RELEASE "-O2 -DNDEBUG")
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")

# Carried by every target of this project, tests and tools included.
add_library(v6comp_build_flags INTERFACE)
target_compile_options(v6comp_build_flags INTERFACE -Wall -Wextra -Wconversion -Wshadow
  $<$<BOOL:${V6COMP_WERROR}>:-Werror>)

set(V6COMP_INSTRUMENTED OFF)

if(V6COMP_SANITIZE)
  # vptr checks need run-time type information, which the library does without.
  set(sanitize -fsanitize=${V6COMP_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_compile_options(v6comp_build_flags INTERFACE ${sanitize})
  target_link_options(v6comp_build_flags INTERFACE ${sanitize})
  # gcc takes its own instrumentation for uninitialised reads, even inside the standard library.
  target_compile_options(v6comp_build_flags INTERFACE
    $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-maybe-uninitialized> $<$<COMPILE_LANG_AND_ID:C,GNU>:-Wno-maybe-uninitialized>)
  set(V6COMP_INSTRUMENTED ON)
endif()

if(V6COMP_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES Clang)
    message(FATAL_ERROR "V6COMP_FUZZ needs clang: its fuzzing engine is linked in (preset fuzz)")
  endif()
  target_compile_options(v6comp_build_flags INTERFACE -fsanitize=fuzzer-no-link)
  target_link_options(v6comp_build_flags INTERFACE -fsanitize=fuzzer-no-link)
  set(V6COMP_INSTRUMENTED ON)
endif()

if(V6COMP_COVERAGE)
  target_compile_options(v6comp_build_flags INTERFACE --coverage)
  target_link_options(v6comp_build_flags INTERFACE --coverage)
  set(V6COMP_INSTRUMENTED ON)
endif()

target_link_options(v6comp_build_flags INTERFACE -Wl,-z,relro,-z,now -Wl,-z,noexecstack)
if(NOT V6COMP_INSTRUMENTED)
  target_compile_options(v6comp_build_flags INTERFACE -fstack-protector-strong
    $<$<CONFIG:Release>:-U_FORTIFY_SOURCE> $<$<CONFIG:Release>:-D_FORTIFY_SOURCE=2>)
endif()

include(V6compShipped)

# v6comp_add_layer(name SOURCES file... BELOW target...)
#
# One folder of the library, compiled into objects of its own: hidden unless marked otherwise, without
# exceptions and run-time types. It sees the headers of the layers below it and no others.
function(v6comp_add_layer name)
  cmake_parse_arguments(layer "" "" "SOURCES;BELOW" ${ARGN})
  add_library(${name} OBJECT ${layer_SOURCES})
  list(GET layer_SOURCES 0 first)
  cmake_path(ABSOLUTE_PATH first BASE_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR})
  cmake_path(GET first PARENT_PATH folder)
  target_include_directories(${name} PUBLIC ${folder})
  target_link_libraries(${name} PUBLIC ${layer_BELOW} PRIVATE v6comp_build_flags v6comp_shipped_flags)
  target_compile_options(${name} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti>)
  # Elements of pools change their types, and an instance's record is its update list as well.
  target_compile_options(${name} PRIVATE -fno-strict-aliasing)
  set_target_properties(${name} PROPERTIES
    C_VISIBILITY_PRESET hidden
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    INTERPROCEDURAL_OPTIMIZATION OFF)
endfunction()

# v6comp_optimise_across(layer...)
#
# Let a release build of gcc optimise across the files of these layers when the shared library is linked. The host's
# platform calls stay calls, whoever defines them: their layer is never among these. The objects hold plain code as
# well, for the archive of internal parts, so that programs that use it are not compiled anew when they are linked.
set(V6COMP_LINK_ACROSS "")
set(V6COMP_LINK_APART "")
set(V6COMP_LINK_WHOLE "")
function(v6comp_optimise_across)
  if(V6COMP_INSTRUMENTED OR NOT CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    return()
  endif()
  foreach(layer IN LISTS ARGN)
    target_compile_options(${layer} PRIVATE
      $<$<CONFIG:Release>:-O3> $<$<CONFIG:Release>:-fno-semantic-interposition>
      $<$<CONFIG:Release>:-flto> $<$<CONFIG:Release>:-ffat-lto-objects>)
  endforeach()
  set(V6COMP_LINK_ACROSS
    $<$<CONFIG:Release>:-flto> $<$<CONFIG:Release>:-flto-partition=one> $<$<CONFIG:Release>:-fno-strict-aliasing>
    ${V6COMP_HARDENING} PARENT_SCOPE)
  set(V6COMP_LINK_WHOLE
    $<$<CONFIG:Release>:-O3> $<$<CONFIG:Release>:-flinker-output=nolto-rel> PARENT_SCOPE)
  set(V6COMP_LINK_APART $<$<CONFIG:Release>:-fno-lto> PARENT_SCOPE)
endfunction()
