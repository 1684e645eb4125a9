#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# missing_rows_are_seen.sh TOOL FAULTY_DUMP TABLE NEW_TABLE HISTORY: with a library whose dump and rows lack one, every command that
# speaks of the hardware answers no, and names the prefix.
set -uo pipefail
tool=$1 faulty=$2 table=$3 new_table=$4 history=$5

answers_no() {
  said=$(LD_PRELOAD=$faulty "$tool" "$@" 2>&1)
  code=$?
  if [[ $code != 1 || $said != *'is missing from the rows for the hardware'* ]]; then
    printf 'v6comp %s: exit %s\n%s\n' "$*" "$code" "$said"
    exit 1
  fi
}

for room in on off; do
  answers_no verify "$table" --room $room
  answers_no dump "$table" --room $room
  answers_no plan "$table" "$new_table" --simulate --room $room
  answers_no plan "$table" "$history" --simulate --room $room
  answers_no update "$table" "$history" --room $room
done
