// SPDX-License-Identifier: Apache-2.0
// foreign_content.h - what a file is that is not what was meant.
#ifndef FOREIGN_CONTENT_H
#define FOREIGN_CONTENT_H

#include <string>
#include <string_view>

namespace v6tool {

// Of a file that begins with these bytes, where text was expected, such as a "history": a sentence that says what it is
// and what to do, "" when it may be text.
std::string describe_foreign_bytes(std::string_view head, std::string_view meant);

// Of a file that begins with these bytes and is in no format of tables: a sentence that says what it is and what to do,
// "" when it may still be a table.
std::string describe_foreign_content(std::string_view head);

}  // namespace v6tool

#endif
