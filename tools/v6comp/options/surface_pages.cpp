// SPDX-License-Identifier: Apache-2.0
// v6comp_pages - write what is made from the tables of options and rows.
//
//   v6comp_pages share DIR VERSION DATE   DIR/man/man1/*.1, DIR/bash-completion/..., DIR/zsh/..., DIR/fish/...
//   v6comp_pages schemas DIR              DIR/NAME.schema.json
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <string>

#include "completions.h"
#include "man_page.h"
#include "row_schema.h"

namespace {

using namespace v6tool;
using std::filesystem::path;

void write_file(const path &file, const std::string &content) {
  std::filesystem::create_directories(file.parent_path());
  std::ofstream out(file, std::ios::binary);
  out << content;
  out.close();
  if (!out) {
    throw std::runtime_error(file.string() + ": cannot be written");
  }
}

void write_share(const path &share, const page_source &source) {
  write_file(share / "man/man1/v6comp.1", man_page(tool_row(), source));
  for (const command_row &command : command_rows()) {
    write_file(share / "man/man1" / (man_page_name(command) + ".1"), man_page(command, source));
  }
  write_file(share / "bash-completion/completions/v6comp", bash_completion());
  write_file(share / "zsh/site-functions/_v6comp", zsh_completion());
  write_file(share / "fish/vendor_completions.d/v6comp.fish", fish_completion());
}

void write_schemas(const path &folder) {
  for (const row_kind &kind : row_kinds()) {
    write_file(folder / (std::string(kind.name) + ".schema.json"), row_schema(kind));
  }
}

}  // namespace

int main(int argc, char **argv) {
  try {
    const std::string what = argc > 1 ? argv[1] : "";
    if (what == "share" && argc == 5) {
      write_share(argv[2], {argv[3], argv[4]});
    } else if (what == "schemas" && argc == 3) {
      write_schemas(argv[2]);
    } else {
      std::fprintf(stderr, "usage: v6comp_pages share DIR VERSION DATE | schemas DIR\n");
      return 2;
    }
  } catch (const std::exception &error) {
    std::fprintf(stderr, "v6comp_pages: %s\n", error.what());
    return 3;
  }
  return 0;
}
