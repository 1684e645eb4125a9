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

// Throw, before any work is done, what makes these files no good together: two inputs that are both `-`, standard
// input; an output that is one of the inputs, or a symbolic link, which a rename would replace; one that cannot be
// written. "" and `-` are standard output, and always good. "" among the inputs: none.
void check_files(const std::string &output, const std::vector<std::string> &inputs);

// Write the data to the path, "" and `-` for standard output. Devices and pipes are written to as they are.
void write_output_file(const std::string &path, const std::string &data);

}  // namespace v6tool

#endif
