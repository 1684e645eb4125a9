// SPDX-License-Identifier: Apache-2.0
// packed_text.h - text in few letters that every browser unpacks: gzip in base64.
#ifndef PACKED_TEXT_H
#define PACKED_TEXT_H

#include <string>
#include <string_view>

namespace v6tool {

// The same bytes for the same text, always: no time and no name stand in it.
std::string packed_text(std::string_view text);

std::string base64(std::string_view bytes);

}  // namespace v6tool

#endif
