// SPDX-License-Identifier: Apache-2.0
// output_file.h - where finished data goes.
//
// A file is written beside the place it is for, and takes that place when all of it is on the disk: until then, and
// after any failure, what stood there before stands there still.
#ifndef OUTPUT_FILE_H
#define OUTPUT_FILE_H

#include <string>
#include <vector>

namespace v6tool {

// Throw what makes a path no good for output, before any work is done: that it is one of the inputs (`-` is standard
// input), or a symbolic link, which a rename would replace. "" and `-` are standard output, and always good.
void check_output_file(const std::string &path, const std::vector<std::string> &inputs);

// Write the data to the path, "" and `-` for standard output. Devices and pipes are written to as they are.
void write_output_file(const std::string &path, const std::string &data);

}  // namespace v6tool

#endif
