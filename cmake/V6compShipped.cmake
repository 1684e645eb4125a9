# SPDX-License-Identifier: Apache-2.0
# What the library and the tool are compiled with beyond the rest: hardening, and the same bytes from any folder.
# tests/interface/hardening sees that each of these flags is there and has its effect.
include(CheckCCompilerFlag)

# A run path inside the build tree that does not name the tree.
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)

add_library(v6comp_shipped_flags INTERFACE)
target_compile_options(v6comp_shipped_flags INTERFACE
  -ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${PROJECT_BINARY_DIR}=build)

# Sanitizers watch the same things more closely, and some of them do not go together with these.
set(V6COMP_HARDENING "")
if(NOT V6COMP_INSTRUMENTED)
  set(V6COMP_HARDENING -fstack-protector-strong)
  set(wanted -fstack-clash-protection)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
    list(APPEND wanted -fcf-protection=full)
  elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "aarch64|arm64")
    list(APPEND wanted -mbranch-protection=standard)
  endif()
  # A compiler may take a flag only with a warning that it does nothing (clang 14: stack clash on Arm).
  set(CMAKE_REQUIRED_FLAGS -Werror)
  foreach(flag IN LISTS wanted)
    string(MAKE_C_IDENTIFIER "V6COMP_HAS${flag}" has)
    check_c_compiler_flag(${flag} ${has})
    if(${has})
      list(APPEND V6COMP_HARDENING ${flag})
    endif()
  endforeach()
  unset(CMAKE_REQUIRED_FLAGS)
  target_compile_options(v6comp_shipped_flags INTERFACE ${V6COMP_HARDENING}
    "$<$<CONFIG:Release>:SHELL:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3>")
endif()
