// SPDX-License-Identifier: Apache-2.0
#include "man_page.h"

#include <algorithm>

#include "row_table.h"
#include "text_words.h"

namespace v6tool {

namespace {

// Text as roff wants it: a hyphen is a hyphen when it is copied from the page.
std::string roff(std::string_view text) {
  std::string out;
  for (const char c : text) {
    if (c == '\\') {
      out += "\\e";
    } else if (c == '-') {
      out += "\\-";
    } else if ((c == '.' || c == '\'') && out.empty()) {
      out += "\\&" + std::string(1, c);
    } else {
      out += c;
    }
  }
  return out;
}

std::string bold(std::string_view text) { return "\\fB" + roff(text) + "\\fR"; }
std::string italic(std::string_view text) { return "\\fI" + roff(text) + "\\fR"; }

std::string upper(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(),
                 [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
  return out;
}

// A sentence of a table gets its capital and its dot.
std::string sentence(std::string_view text) {
  std::string out(text);
  if (!out.empty() && out.front() >= 'a' && out.front() <= 'z') {
    out.front() = static_cast<char>(out.front() - 'a' + 'A');
  }
  return out.empty() || out.ends_with('.') || out.ends_with('?') ? out : out + '.';
}

void append_term(std::string &out, const std::string &term, std::string_view meaning) {
  out += ".TP\n" + term + '\n' + roff(meaning) + '\n';
}

std::string synopsis_of(const command_row &command) {
  std::string out = bold(command.name.empty() ? "v6comp" : "v6comp " + std::string(command.name));
  out += " [" + italic("OPTIONS") + "]";
  out += command.name.empty() ? " " + italic("COMMAND") + " ..." : "";
  for (const option_row *row : arguments_of(command)) {
    const std::string name = italic(argument_name(*row)) + (is_list(*row) ? "..." : "");
    out += is_optional(*row) ? " [" + name + "]" : " " + name;
  }
  return out;
}

std::string option_term(const option_row &row) {
  std::string out;
  for (const std::string &name : names_of(row)) {
    out += (out.empty() ? "" : ", ") + bold(name);
  }
  const std::string value = value_name(row);
  return value.empty() ? out : out + ' ' + italic(value);
}

std::string option_meaning(const option_row &row) {
  std::string text = sentence(row.help);
  if (row.kind == value_kind::number && row.most != UINT64_MAX) {
    text += " From " + std::to_string(row.least) + " to " + std::to_string(row.most) + ".";
  }
  if (row.kind == value_kind::choice && !row.value.empty()) {
    text += " One of " + join_names(choices_of(row), ", ") + ".";
  }
  return row.standard.empty() ? text : text + " Default: " + std::string(row.standard) + ".";
}

void append_options(std::string &out, const command_row &command) {
  out += ".SH OPTIONS\n";
  for (const option_row *row : options_in_set(command, "")) {
    append_term(out, option_term(*row), option_meaning(*row));
  }
  for (const option_set &set : option_sets()) {
    const std::vector<const option_row *> rows = options_in_set(command, set.name);
    if (!rows.empty()) {
      out += ".SS " + std::string(set.heading) + '\n';
    }
    for (const option_row *row : rows) {
      append_term(out, option_term(*row), option_meaning(*row));
    }
  }
}

const char *kind_words(field_kind kind) {
  switch (kind) {
    case field_kind::count:
      return "whole number";
    case field_kind::yes_no:
      return "true or false";
    case field_kind::prefix:
      return "prefix";
    case field_kind::code:
      return "compressed prefix";
    case field_kind::address:
      return "compressed address";
    case field_kind::text:
    case field_kind::choice:
      break;
  }
  return "text";
}

void append_fields(std::string &out, const command_row &command) {
  const std::vector<const row_kind *> kinds = row_kinds_of(command.name);
  if (kinds.empty()) {
    return;
  }
  out += ".SH FIELDS\nFor\n" + bold("--fields") + ",\n" + bold("--sort") +
         "\nand all formats; fields marked * stand in text only when they are asked for.\n";
  for (const row_kind *kind : kinds) {
    out += ".SS " + roff("A row is " + std::string(kind->meaning)) +
           (kind->when.empty() ? "" : " (" + roff(kind->when) + ")") + '\n';
    for (const column &c : kind->columns) {
      const std::string type = c.choices.empty() ? kind_words(c.kind) : join_names(split_names(c.choices, '|'), ", ");
      append_term(out, bold(c.name) + (c.text_width == 0 ? "*" : "") + " (" + roff(type) + ")",
                  sentence(c.help) + (c.may_be_null ? " May be empty." : ""));
    }
  }
}

void append_examples(std::string &out, const command_row &command) {
  out += ".SH EXAMPLES\n";
  for (std::string_view rest = command.examples; !rest.empty();) {
    const std::string_view line = take_line(rest);
    const size_t end = line.find("  ");
    append_term(out, bold(line.substr(0, end)), sentence(trimmed(line.substr(end))));
  }
}

void append_see_also(std::string &out, const command_row &command) {
  out += ".SH SEE ALSO\n";
  if (!command.name.empty()) {
    out += ".BR v6comp (1),\n";
  }
  for (const command_row &row : command_rows()) {
    if (command.name.empty()) {
      out += ".BR " + roff(man_page_name(row)) + " (1),\n";
    }
  }
  out += ".BR zel_v6comp_table (3),\n.BR zel_v6comp (7)\n";
}

}  // namespace

std::string man_page_name(const command_row &command) {
  return command.name.empty() ? "v6comp" : "v6comp-" + std::string(command.name);
}

std::string man_page(const command_row &command, const page_source &source) {
  std::string purpose(command.purpose);
  purpose.front() = static_cast<char>(purpose.front() - 'A' + 'a');
  std::string out = ".TH " + roff(upper(man_page_name(command))) + " 1 " + source.date + " \"v6comp " + source.version +
                    "\" \"User Commands\"\n.SH NAME\n" + roff(man_page_name(command)) + " \\- " + roff(purpose) +
                    "\n.SH SYNOPSIS\n" + synopsis_of(command) + "\n.SH DESCRIPTION\n" +
                    roff(sentence(command.purpose)) + '\n';
  for (std::string_view rest = command.description; !rest.empty();) {
    const size_t end = std::min(rest.find("\n\n"), rest.size());
    out += ".PP\n" + roff(rest.substr(0, end)) + '\n';
    rest.remove_prefix(std::min(end + 2, rest.size()));
  }
  if (command.name.empty()) {
    out += ".SH COMMANDS\n";
    for (const command_row &row : command_rows()) {
      append_term(out, bold(row.name), sentence(row.purpose) + " See " + man_page_name(row) + "(1).");
    }
  }
  if (!arguments_of(command).empty()) {
    out += ".SH ARGUMENTS\n";
  }
  for (const option_row *row : arguments_of(command)) {
    append_term(out, italic(argument_name(*row)), sentence(row->help));
  }
  append_options(out, command);
  append_fields(out, command);
  if (command.terms != nullptr) {
    out += ".SH " + roff(upper(command.terms_heading)) + '\n';
    for (const term &t : command.terms()) {
      append_term(out, bold(t.name), sentence(t.meaning));
    }
  }
  out += ".SH EXIT STATUS\n";
  for (const term &code : exit_codes_of(command)) {
    append_term(out, bold(code.name), sentence(code.meaning));
  }
  out += ".SH ENVIRONMENT\n";
  append_term(out, bold("NO_COLOR"), "If set, a terminal gets no colour.");
  append_term(out, bold("COLUMNS"), "Width of the terminal, where it should be another than it says.");
  append_term(out, bold("ZEL_V6COMP_DBG_TRACE, ZEL_V6COMP_DBG_INFO, ZEL_V6COMP_DBG_RESULT"),
              "Messages of the library on standard error.");
  append_examples(out, command);
  append_see_also(out, command);
  return out;
}

}  // namespace v6tool
