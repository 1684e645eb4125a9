// SPDX-License-Identifier: Apache-2.0
#include "source_dir.h"

std::string source_path(const std::string &path) { return V6COMP_SOURCE_DIR "/" + path; }
