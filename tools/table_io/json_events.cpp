// SPDX-License-Identifier: Apache-2.0
#include "json_events.h"

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>

#include "prefix_text.h"

namespace v6tool {

namespace {

constexpr size_t most_text = size_t{1} << 20;  // bytes from one event to the next
constexpr size_t most_depth = 64;

// The characters of an input, of which the parser holds one at a time.
struct character_stream {
  byte_input &input;
  char current = '\0';
  bool ended = false;
  bool too_long = false;
  size_t since_event = 0;
  uint64_t line = 1;

  void next() {
    line += current == '\n' && !ended ? 1 : 0;
    too_long = too_long || ++since_event > most_text;
    ended = ended || too_long || !input.take_byte(current);
  }
};

class character_iterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char *;
  using reference = const char &;

  explicit character_iterator(character_stream *stream) : stream_(stream) {}
  reference operator*() const { return stream_->current; }
  character_iterator &operator++() {
    stream_->next();
    return *this;
  }
  bool operator==(const character_iterator &other) const { return at_end() == other.at_end(); }

 private:
  bool at_end() const { return stream_ == nullptr || stream_->ended; }
  character_stream *stream_;
};

// nlohmann's names.
class event_handler {
 public:
  using json = nlohmann::json;

  event_handler(character_stream &stream, json_visitor &visitor) : stream_(stream), visitor_(visitor) {}

  bool null() { return passed(); }
  bool boolean(bool /*value*/) { return passed(); }
  bool number_integer(json::number_integer_t value) { return seen(std::to_string(value)); }
  bool number_unsigned(json::number_unsigned_t value) { return seen(std::to_string(value)); }
  bool number_float(json::number_float_t /*value*/, const json::string_t &text) { return seen(text); }
  bool string(const json::string_t &text) { return seen(text); }
  bool binary(const json::binary_t & /*value*/) { return passed(); }
  bool start_object(size_t /*size*/) { return opened(true); }
  bool start_array(size_t /*size*/) { return opened(false); }
  bool end_object() { return closed(); }
  bool end_array() { return closed(); }

  bool key(const json::string_t &text) {
    visitor_.key(text, depth_, stream_.line);
    return passed();
  }

  bool parse_error(size_t /*at*/, const std::string & /*token*/, const json::exception &error) {
    const std::string_view text = error.what();
    if (text.find("unexpected end of input") != std::string_view::npos) {
      fault_ = "cut off, the JSON ends in the middle";
      return false;
    }
    const size_t begin = text.find("syntax error");
    fault_ = begin == std::string_view::npos ? "bad number or text" : text.substr(begin);
    fault_ = "not JSON: " + printable(std::string_view(fault_).substr(0, fault_.find("; expected")));
    return false;
  }

  const std::string &fault() const { return fault_; }

 private:
  bool passed() {
    stream_.since_event = 0;
    return true;
  }

  bool seen(std::string_view text) {
    visitor_.value(text, depth_, stream_.line);
    return passed();
  }

  bool opened(bool object) {
    if (++depth_ > most_depth) {
      fault_ = "nested deeper than " + std::to_string(most_depth);
      return false;
    }
    visitor_.begin(object, depth_, stream_.line);
    return passed();
  }

  bool closed() {
    visitor_.end(depth_--);
    return passed();
  }

  character_stream &stream_;
  json_visitor &visitor_;
  size_t depth_ = 0;
  std::string fault_;
};

constexpr std::string_view json_blanks = " \t\r\n";

}  // namespace

json_fault read_json(byte_input &input, json_visitor &visitor) {
  character_stream stream{input};
  stream.line = 1 + input.lines();
  stream.next();
  for (;;) {
    while (!stream.ended && json_blanks.find(stream.current) != std::string_view::npos) {
      stream.next();
    }
    if (stream.ended && !stream.too_long) {
      return {};
    }
    event_handler handler(stream, visitor);
    constexpr bool only_value = false;
    if (!nlohmann::json::sax_parse(character_iterator(&stream), character_iterator(nullptr), &handler,
                                   nlohmann::json::input_format_t::json, only_value)) {
      return {stream.line, stream.too_long ? "a text of more than 1 MiB" : handler.fault()};
    }
  }
}

bool json_outline::has_key(size_t depth, std::string_view name) const {
  return std::any_of(keys.begin(), keys.end(),
                     [&](const auto &key) { return key.first == depth && key.second == name; });
}

json_outline outline_json(std::string_view head) {
  json_outline outline;
  const auto skip_blanks = [&](size_t at) { return std::min(head.find_first_not_of(json_blanks, at), head.size()); };
  size_t at = skip_blanks(0);
  if (at == head.size() || (head[at] != '[' && head[at] != '{')) {
    return outline;
  }
  outline.outermost = head[at];
  const size_t second = skip_blanks(at + 1);
  outline.empty = second < head.size() && (head[second] == ']' || head[second] == '}');
  outline.begins_with_text = outline.outermost == '[' && second < head.size() && head[second] == '"';
  size_t depth = 0;
  while (at < head.size()) {
    const char c = head[at];
    if (c == '"') {
      size_t end = at + 1;
      while (end < head.size() && head[end] != '"') {
        end += head[end] == '\\' ? 2 : 1;
      }
      if (end >= head.size()) {
        break;
      }
      const size_t after = skip_blanks(end + 1);
      if (after < head.size() && head[after] == ':') {
        outline.keys.emplace_back(depth, head.substr(at + 1, end - at - 1));
      }
      at = end;
    } else if (c == '[' || c == '{') {
      ++depth;
    } else if (c == ']' || c == '}') {
      depth -= depth > 0 ? 1 : 0;
    }
    ++at;
  }
  return outline;
}

}  // namespace v6tool
