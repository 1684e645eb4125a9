// SPDX-License-Identifier: Apache-2.0
#include "history_output.h"

#include "history_writer.h"
#include "output_file.h"

namespace v6tool {

namespace {

bool is_plain(const output_options &options) { return options.format == &text_format(); }

void write_rows(const output_options &options, std::string_view kind, const update_history &history) {
  row_writer writer(options, kind);
  uint64_t number = 0;
  for (const history_batch &batch : history.batches) {
    ++number;
    for (const history_change &change : batch) {
      const cell cells[] = {number, std::string(change.add ? "add" : "remove"), change.prefix, uint64_t{change.weight}};
      writer.row(cells);
    }
  }
  writer.finish();
}

}  // namespace

void check_history_output(const output_options &options, std::string_view kind,
                          const std::vector<std::string> &inputs) {
  if (is_plain(options)) {
    check_plain_output(options, inputs);
  } else {
    check_output(options, kind, inputs);
  }
}

void write_history(const output_options &options, std::string_view kind, const update_history &history) {
  if (is_plain(options)) {
    write_output_file(options.file, format_history(history));
  } else {
    write_rows(options, kind, history);
  }
}

}  // namespace v6tool
