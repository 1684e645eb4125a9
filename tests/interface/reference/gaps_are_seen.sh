#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Are gaps in the public headers seen, in both checks? gaps_are_seen.sh SOURCES FOLDER
set -euo pipefail
sources=$1
folder=$2
rm -rf "$folder"
mkdir -p "$folder"
cd "$sources"
cp -r --parents common/src zel_v6comp_lib platform table bindings/cpp docs/api scripts/api-docs "$folder"
cd "$folder"

fails_with() { # text, command...
  local text=$1 said
  shift
  if said=$("$@" 2>&1); then
    echo "no complaint: $*"
    exit 1
  fi
  grep -qF "$text" <<< "$said" || { printf '%s\n' "$said"; exit 1; }
}
spoil() { # header, text, its replacement
  cp "$sources/$1" "$1"
  TEXT=$2 WITH=$3 perl -0pi -e 's/\Q$ENV{TEXT}\E/$ENV{WITH}/ or die "not there: $ENV{TEXT}"' "$1"
}
costs=(python3 -B "$sources/tests/interface/reference/check_costs.py")
table=table/zel_v6comp_table.h

spoil $table '/** A status in words' '/* A status in words'
fails_with 'zel_v6comp_table_text' scripts/api-docs "$folder/api"
fails_with 'zel_v6comp_table_text does not tell its cost' "${costs[@]}" $table

spoil $table '/* 0..64 */' ''
fails_with 'code_length' scripts/api-docs "$folder/api"

spoil $table 'Only reads. Does not allocate.' 'Only reads.'
fails_with 'does not tell whether it allocates' "${costs[@]}" $table
cp "$sources/$table" $table

spoil bindings/cpp/zel_v6comp.hpp '/// Is there a table?' ''
fails_with 'is_open' scripts/api-docs "$folder/api"
cp "$sources/bindings/cpp/zel_v6comp.hpp" bindings/cpp/

scripts/api-docs "$folder/api" > /dev/null
"${costs[@]}" $table > /dev/null
