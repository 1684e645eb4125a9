#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# installed_tool.sh CMAKE BUILD WORK BINDIR LIBDIR TABLE: install into an empty prefix, and start the tool from there and
# from where the tree is moved to. The library that it starts with must be the one beside it, and no other will do.
set -euo pipefail
cmake=$1 build=$2 work=$3 bindir=$4 libdir=$5 table=$6
unset LD_LIBRARY_PATH

rm -rf "$work"
"$cmake" --install "$build" --prefix "$work/first" > /dev/null

starts_from() {
  loaded=$(ldd "$1/$bindir/v6comp" | sed -n 's/^[[:space:]]*libzel_v6comp_lib[^ ]* => \([^ ]*\) .*/\1/p')
  if [[ $(realpath "$loaded") != "$(realpath "$1/$libdir")"/* ]]; then
    echo "the tool in $1 loads $loaded"
    exit 1
  fi
  "$1/$bindir/v6comp" verify "$table"
}

starts_from "$work/first"
mv "$work/first" "$work/second"
starts_from "$work/second"
mv "$work/second/$libdir" "$work/away"
if "$work/second/$bindir/v6comp" --version 2> /dev/null; then
  echo 'the tool starts without its library: what was tested?'
  exit 1
fi
