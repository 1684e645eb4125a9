// SPDX-License-Identifier: Apache-2.0
#include "json_rows.h"

#include <algorithm>

namespace v6tool {

namespace {

class row_visitor : public json_visitor {
 public:
  explicit row_visitor(const json_row_reader &reader) : reader_(reader) {}

  void begin(bool object, size_t depth, uint64_t line) override {
    if (depth == 1) {
      row_depth_ = object ? 1 : 2;
    }
    if (depth == row_depth_) {
      in_row_ = object;
      row_ = {line, std::vector<std::string>(reader_.names.size())};
    }
  }

  void end(size_t depth) override {
    if (depth == row_depth_ && in_row_) {
      reader_.take(row_);
      in_row_ = false;
    }
  }

  void key(std::string_view text, size_t depth, uint64_t /*line*/) override {
    if (depth == row_depth_) {
      const auto found = std::find(reader_.names.begin(), reader_.names.end(), text);
      field_ = static_cast<size_t>(found - reader_.names.begin());
    }
  }

  void value(std::string_view text, size_t depth, uint64_t line) override {
    if (in_row_ && depth == row_depth_ && field_ < row_.fields.size()) {
      row_.fields[field_] = text;
    } else if (depth == 1 && row_depth_ == 2 && reader_.take_text) {
      reader_.take_text(line, text);
    }
  }

 private:
  const json_row_reader &reader_;
  json_row row_;
  size_t row_depth_ = 0;
  size_t field_ = 0;  // of the last key
  bool in_row_ = false;
};

}  // namespace

json_fault read_json_rows(byte_input &input, const json_row_reader &reader) {
  row_visitor visitor(reader);
  return read_json(input, visitor);
}

}  // namespace v6tool
