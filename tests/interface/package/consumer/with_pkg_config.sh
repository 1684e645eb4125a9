#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# with_pkg_config.sh PKG_CONFIG LIBDIR WORKDIR CC CXX VERSION: build and run the hosts by pkg-config alone.
set -eu
pkg_config=$1 libdir=$2 work=$3 cc=$4 cxx=$5 version=$6
here=$(dirname "$0")
export PKG_CONFIG_PATH="$libdir/pkgconfig"

found=$("$pkg_config" --modversion zel_v6comp)
if [ "$found" != "$version" ]; then
  echo "pkg-config found version $found instead of $version" >&2
  exit 1
fi
mkdir -p "$work"
# Unquoted on purpose: several words each.
cflags=$("$pkg_config" --cflags zel_v6comp)
libs=$("$pkg_config" --libs zel_v6comp)
# shellcheck disable=SC2086
"$cc" -std=c11 -Wall -Wextra -Werror $cflags "$here/c_host.c" -o "$work/c_host" $libs
# shellcheck disable=SC2086
"$cxx" -std=c++20 -Wall -Wextra -Werror $cflags "$here/cxx_host.cpp" -o "$work/cxx_host" $libs
# shellcheck disable=SC2086
"$cxx" -std=c++20 -Wall -Wextra -Werror $cflags "$here/cxx_table_host.cpp" -o "$work/cxx_table_host" $libs
# shellcheck disable=SC2046,SC2086
"$cc" -std=c11 -static $cflags "$here/c_host.c" -o "$work/static_host" $("$pkg_config" --static --libs zel_v6comp)
LD_LIBRARY_PATH=$libdir "$work/c_host"
"$work/static_host"
LD_LIBRARY_PATH=$libdir "$work/cxx_host"
LD_LIBRARY_PATH=$libdir "$work/cxx_table_host"
