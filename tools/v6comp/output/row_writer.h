// SPDX-License-Identifier: Apache-2.0
// row_writer.h - rows of one kind on their way out.
//
// A terminal gets a heading, widths that fit what comes, numbers to the right, and colour; a pipe or a file gets the
// bytes that programs were always given. See README.md beside this file.
#ifndef ROW_WRITER_H
#define ROW_WRITER_H

#include <span>
#include <string>
#include <vector>

#include "output_format.h"
#include "row_table.h"

namespace v6tool {

struct output_options {
  const output_format *format = &text_format();
  std::string file = "";    // "", `-` = standard output
  std::string fields = "";  // names with commas between; "" = all
  std::string sort = "";    // the same, each perhaps with `:down`; "" = as the rows come
};

// Throw what makes the options no good for rows of this kind, before any work is done: unknown fields, an output file
// that cannot be one (output_file.h). `inputs` are the paths that the command reads.
void check_output(const output_options &options, std::string_view kind, const std::vector<std::string> &inputs);

// The same where no rows are printed: --fields and --sort make no sense.
void check_plain_output(const output_options &options, const std::vector<std::string> &inputs);

enum class row_flow : uint8_t {
  at_the_end,   // nothing is printed before finish(): a command that fails half-way has printed nothing
  as_they_come  // what flush() says, and what would wait too long, is on standard output at once
};

class row_writer {
 public:
  row_writer(const output_options &options, std::string_view kind, row_flow flow = row_flow::at_the_end);

  // As many cells as the kind has columns.
  void row(std::span<const cell> cells);

  // Where rows go as they come, all so far are on standard output; nothing else happens.
  void flush();

  // Everything is written. In text, `closing` stands below the rows; the other formats leave it out.
  void finish(const std::string &closing = "");

 private:
  bool needs_all_rows() const;
  void begin(const std::vector<std::vector<cell>> &rows);
  void append(std::span<const cell> cells);

  const output_options &options_;
  const row_kind &kind_;
  row_flow flow_;
  bool pretty_;                  // text on a terminal
  std::vector<size_t> picked_;   // indexes of the columns that are printed
  std::vector<column> columns_;  // these
  std::vector<std::vector<cell>> rows_;
  std::string out_;
  bool begun_ = false;
  bool empty_ = true;
};

}  // namespace v6tool

#endif
