# SPDX-License-Identifier: Apache-2.0
# Files as C++ strings: cmake -DFOLDER=... "-DASSETS=a;b" -DOUT=... -P embed_assets.cmake
# Long files go in pieces, since compilers need not take literals of any length.
set(text "// Made from the files in web/.\n#include \"page_assets.h\"\n\nnamespace v6tool {\n\nconst page_asset page_assets[] = {\n")
foreach(asset IN LISTS ASSETS)
  file(READ ${FOLDER}/${asset} bytes HEX)
  string(REGEX REPLACE "(................................................................)" "\\1\n" lines "${bytes}")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "\\\\x\\1" lines "${lines}")
  string(REPLACE "\n" "\"\n    \"" lines "${lines}")
  string(LENGTH "${bytes}" digits)
  math(EXPR size "${digits} / 2")
  string(APPEND text "  {\"${asset}\", ${size},\n    \"${lines}\"},\n")
endforeach()
string(APPEND text "};\n\nconst unsigned page_asset_count = sizeof page_assets / sizeof page_assets[0];\n\n}  // namespace v6tool\n")
file(WRITE ${OUT} "${text}")
