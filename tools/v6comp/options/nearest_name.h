// SPDX-License-Identifier: Apache-2.0
// nearest_name.h - what was probably meant.
#ifndef NEAREST_NAME_H
#define NEAREST_NAME_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace v6tool {

// Letters that have to be inserted, deleted, replaced or exchanged with their neighbour to make one text the other.
size_t edit_distance(std::string_view a, std::string_view b);

// The name that was probably meant, "" if none is near: less than half of it differs, or it goes on where the text
// ends.
std::string nearest_name(std::string_view text, const std::vector<std::string> &names);

// "; did you mean NAME?", or nothing.
std::string meant(std::string_view text, const std::vector<std::string> &names);

}  // namespace v6tool

#endif
