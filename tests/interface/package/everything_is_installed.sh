#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# everything_is_installed.sh PREFIX LIBDIR: what a user expects below the prefix is there, manual pages for each command of the
# tool too, links lead to the library, and nothing names the folder that it was built or installed in.
set -uo pipefail
prefix=$1 libdir=$2
cd "$prefix" || exit 1
faults=0
expect() { [ -e "$1" ] || { echo "$1 is missing"; faults=1; }; }

commands=$(LD_LIBRARY_PATH=$libdir bin/v6comp --help | sed -n '/^Commands:/,/^$/s/^  \([a-z]*\) .*/\1/p')
case $commands in *compress*) ;; *) echo 'the tool names no commands' && faults=1 ;; esac
for command in $commands; do expect "share/man/man1/v6comp-$command.1"; done

for file in bin/v6comp "$libdir"/libzel_v6comp_lib.{a,so,so.1} "$libdir/pkgconfig/zel_v6comp.pc" \
  "$libdir"/cmake/zel_v6comp/zel_v6comp{Config,ConfigVersion,Targets}.cmake \
  include/zel_v6comp/zel_v6comp{,_table,_plan}.h include/zel_v6comp/zel_v6comp{,_prefix}.hpp \
  lib/python3/dist-packages/v6comp/{__init__.py,py.typed} \
  share/man/man1/v6comp.1 share/man/man3/zel_v6comp_table.3 share/man/man7/zel_v6comp.7 \
  share/bash-completion/completions/v6comp share/zsh/site-functions/_v6comp share/fish/vendor_completions.d/v6comp.fish \
  share/doc/zel_v6comp/{LICENSE,README.md,CHANGELOG.md,docs/quick-start.md,examples/CMakeLists.txt}; do
  expect "$file"
done

[ "$(readlink -f "$libdir/libzel_v6comp_lib.so")" = "$(readlink -f "$libdir/libzel_v6comp_lib.so.1")" ] ||
  { echo 'the links of the library lead to different files' && faults=1; }
if grep -rlF "$prefix" bin include lib share; then
  echo 'these name the folder that they are in, and it may be moved'
  faults=1
fi
exit $faults
