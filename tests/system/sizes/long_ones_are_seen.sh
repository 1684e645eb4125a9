#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Does the check of sizes see what is one line too long, and nothing else? long_ones_are_seen.sh FOLDER CHECK...
set -euo pipefail
folder=$1
shift
rm -rf "$folder"
mkdir -p "$folder"

lines() { # n
  for ((i = 0; i < $1; i++)); do printf '%s\n' "${2:-  x();}"; done
}
function_of() { # signature, lines of the body
  printf '%s {\n' "$1"
  lines "$2"
  printf '}\n\n'
}

{ function_of 'int right(int a)' 48; printf 'int\nvery_long(int a,\n          int b)'; function_of '' 45; } > "$folder/right.cpp"
{ lines 3 'int x;'; function_of 'int long_one(int a)' 49; } > "$folder/function.cpp"
printf 'int split(int a,\n          int b) {\n%s\n}\n' "$(lines 48)" > "$folder/split.cpp"
printf 'struct record {\n  int a;\n  int method() {\n%s\n  }\n};\n' "$(lines 49 '    x();')" > "$folder/method.h"
printf 'constexpr int table[] = {\n%s\n};\n' "$(lines 60 '    1,')" > "$folder/array.cpp"
lines 400 'int x;' > "$folder/whole.c"
lines 401 'int x;' > "$folder/file.c"
lines 401 'x = 1' > "$folder/file.py"

expected="$folder/file.c:1: 401 lines, at most 400
$folder/file.py:1: 401 lines, at most 400
$folder/function.cpp:4: a function of 51 lines, at most 50: int long_one(int a) {
$folder/method.h:3: a function of 51 lines, at most 50: int method() {
$folder/split.cpp:1: a function of 51 lines, at most 50: int split(int a, int b) {
8 sources, 5 too long"
if found=$("$@" "$folder"); then
  echo 'the check found nothing'
  exit 1
fi
diff <(printf '%s\n' "$expected") <(printf '%s\n' "$found")

rm "$folder"/{function.cpp,method.h,split.cpp,file.c,file.py}
[ "$("$@" "$folder")" = '3 sources, 0 too long' ]
