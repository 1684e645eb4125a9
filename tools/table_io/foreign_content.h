// SPDX-License-Identifier: Apache-2.0
// foreign_content.h - what a file is that is no table.
#ifndef FOREIGN_CONTENT_H
#define FOREIGN_CONTENT_H

#include <string>
#include <string_view>

namespace v6tool {

// Of a file that begins with these bytes and is in no format of tables: a sentence that says what it is and what to do,
// "" when it may still be a table.
std::string describe_foreign_content(std::string_view head);

}  // namespace v6tool

#endif
