#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# What the tests need besides the library, for aarch64: aarch64_prefix.sh DIRECTORY
# GoogleTest is built from Debian's sources; fmt and nlohmann-json are used as the headers that they are.
set -euo pipefail
prefix=$(mkdir -p "$1" && cd "$1" && pwd)
toolchain=$(cd "$(dirname "$0")" && pwd)/aarch64-linux-gnu.cmake

if [ ! -f "$prefix/lib/libgtest.a" ]; then
  cmake -S /usr/src/googletest -B "$prefix/googletest" -G Ninja --toolchain "$toolchain" \
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$prefix" > /dev/null
  cmake --build "$prefix/googletest" --target install > /dev/null
fi

header_package() { # name target definitions
  mkdir -p "$prefix/include" "$prefix/lib/cmake/$1"
  cp -r "/usr/include/$2" "$prefix/include/"
  cat > "$prefix/lib/cmake/$1/$1Config.cmake" << END
add_library($3 INTERFACE IMPORTED)
set_target_properties($3 PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "$prefix/include"
  INTERFACE_COMPILE_DEFINITIONS "$4")
END
}
header_package fmt fmt fmt::fmt FMT_HEADER_ONLY
header_package nlohmann_json nlohmann nlohmann_json::nlohmann_json ''
