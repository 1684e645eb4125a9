// SPDX-License-Identifier: Apache-2.0
// The history reader on any bytes: it ends, faults and batches exclude one another, no batch exceeds what a request
// takes, and what it read reads the same again.
#include "fuzz_target.h"
#include "history_reader.h"
#include "prefix_text.h"

using namespace v6tool;
using fuzz_target::expect;

namespace {

constexpr size_t most_changes = 8;

std::string written(const update_history &history) {
  std::string text;
  for (const history_batch &batch : history.batches) {
    expect(batch.size() <= most_changes, "a batch that fits into no request was taken");
    for (const history_change &change : batch) {
      const ip_prefix &prefix = change.prefix;
      expect(prefix.length <= 128 && masked(prefix.key, prefix.length) == prefix.key && change.weight != 0,
             "a change that no request can have");
      text += (change.add ? '+' : '-') + format_prefix(prefix) + ' ' + std::to_string(change.weight) + '\n';
    }
    text += "---\n";
  }
  return text;
}

void check_messages(const message_list &list) {
  expect(list.texts.size() <= message_list::most && list.texts.size() <= list.total, "too many messages");
  for (const std::string &line : list.lines()) {
    for (const char c : line) {
      expect(static_cast<unsigned char>(c) >= 0x20 && c != 0x7F, "unprintable text in a message");
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string_view content(reinterpret_cast<const char *>(data), size);
  update_history history;
  read_report report;
  const bool good = parse_history("input", content, most_changes, history, report);
  expect(good == (report.faults.total == 0), "a history with faults was taken, or one without them was not");
  check_messages(report.faults);
  check_messages(report.warnings);
  if (!good) {
    return 0;
  }
  expect(!history.batches.empty(), "a history without batches was taken");
  const std::string text = written(history);
  update_history second;
  read_report second_report;
  expect(parse_history("again", text, most_changes, second, second_report), "its own output was not taken");
  expect(second.batches.size() == history.batches.size() && written(second) == text,
         "a history reads differently the second time");
  return 0;
}
