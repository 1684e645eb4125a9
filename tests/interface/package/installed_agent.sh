#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# installed_agent.sh CMAKE BUILD WORK CONFIGURED_PREFIX: install everything and the agent into an empty prefix, start its
# programs from there, and find the files that its systemd unit names, which were said for the configured prefix.
set -euo pipefail
cmake=$1 build=$2 work=$3 configured=$4
unset LD_LIBRARY_PATH

rm -rf "$work"
"$cmake" --install "$build" --prefix "$work" > /dev/null
"$cmake" --install "$build" --prefix "$work" --component agent > /dev/null
for program in v6compd v6compctl; do
  "$work/bin/$program" --version
done

for page in man8/v6compd.8 man1/v6compctl.1; do
  [ -e "$work/share/man/$page" ] || { echo "$page is missing" && exit 1; }
done

unit=$work/lib/systemd/system/v6compd.service
named=$(sed -n -e 's/^Documentation=.*file://p' -e 's/^ExecStart=\([^ ]*\).*/\1/p' "$unit")
[ "$(wc -l <<< "$named")" -eq 2 ] || { echo "the unit should name a page and a program: $named" && exit 1; }
for file in $named; do
  [ -e "$work/${file#"$configured"/}" ] || { echo "the unit names $file, which is not installed" && exit 1; }
done
