#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Scripts that run for hours see at once what they cannot do, and those that begin with an empty folder empty none that is
# not theirs: wrong_words_are_refused.sh SOURCES
set -euo pipefail
cd "$1"
foreign=$(mktemp -d)
trap 'rm -rf "$foreign"' EXIT
touch "$foreign/kept"

refuses() { # text status command...
  local text=$1 wanted=$2 status=0 said
  shift 2
  said=$(timeout 20 "$@" 2>&1) || status=$?
  if [ "$status" -ne "$wanted" ] || [[ $said != *"$text"* ]]; then
    echo "$*: exit $status, not $wanted; it said: $said" >&2
    exit 1
  fi
}

refuses 'usage' 2 scripts/nightly soon
refuses 'usage' 2 scripts/nightly 08
refuses 'usage' 2 scripts/nightly 0
refuses 'there is no part nothing' 2 scripts/nightly 1 tidy nothing
for minutes in '' 0 00 08 soon; do
  refuses 'scripts/fuzz MINUTES' 2 scripts/fuzz "$minutes"
done
refuses 'scripts/fuzz --seconds' 2 scripts/fuzz --seconds 0
refuses 'is not empty' 3 env LAB_FOLDER="$foreign" scripts/lab
refuses 'no build directory' 2 env COVERAGE_BUILD="$foreign" scripts/coverage
refuses 'is not empty' 2 scripts/docs --out "$foreign" --tool /bin/true
[ -f "$foreign/kept" ]
