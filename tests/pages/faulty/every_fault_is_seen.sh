#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# every_fault_is_seen.sh RUN_PAGE...: the faults that are found in page.md are those of page.faults.
set -uo pipefail
here=$(dirname "$0")
said=$("$@" "$here/page.md")
status=$?
if [[ $status != 1 ]]; then
  printf '%s\nexit %s instead of 1\n' "$said" "$status"
  exit 1
fi
diff -u "$here/page.faults" <(grep '^page.md:' <<< "$said")
