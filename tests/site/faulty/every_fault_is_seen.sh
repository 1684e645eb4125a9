#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# every_fault_is_seen.sh CHECK_SITE: what it says of the page beside this file.
set -uo pipefail
said=$("$1" "$(dirname "$0")")
status=$?
diff -u - <(printf '%s\nexit %s\n' "$said" "$status") << 'EXPECTED'
index.html:4: loads https://example.org/style.css
index.html:7: #there has no such anchor
index.html:8: other.html is not there
index.html:9: index.html#nowhere has no such anchor
index.html:11: missing.svg is not there
index.html:12: loads //example.org/script.js
1 pages, 5 links, 4 to other sites, 6 faults
exit 1
EXPECTED
