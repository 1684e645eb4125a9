// SPDX-License-Identifier: Apache-2.0
// source_dir.h - where the files lie that tests read. The place is compiled into one object alone, so that all others
// are the same in every checkout and a compiler cache can serve them.
#ifndef TEST_SOURCE_DIR_H
#define TEST_SOURCE_DIR_H

#include <string>

// A file of the source tree: "examples/tables/office_5.txt".
std::string source_path(const std::string &path);

#endif
