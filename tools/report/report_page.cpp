// SPDX-License-Identifier: Apache-2.0
#include "report_page.h"

#include <cassert>
#include <string_view>

#include "packed_text.h"
#include "page_assets.h"

namespace v6tool {

namespace {

std::string_view asset(std::string_view name) {
  for (unsigned i = 0; i < page_asset_count; ++i) {
    if (name == page_assets[i].name) {
      return {page_assets[i].bytes, page_assets[i].size};
    }
  }
  assert(false);
  return {};
}

// Text inside an element.
std::string html(std::string_view text) {
  std::string safe;
  for (const char letter : text) {
    switch (letter) {
      case '&':
        safe += "&amp;";
        break;
      case '<':
        safe += "&lt;";
        break;
      case '>':
        safe += "&gt;";
        break;
      default:
        safe += letter;
    }
  }
  return safe;
}

// JSON inside a script element: nothing in it may end the element.
std::string script_json(std::string_view json) {
  std::string safe;
  for (const char letter : json) {
    safe += letter == '<' ? std::string("\\u003c") : std::string(1, letter);
  }
  return safe;
}

std::string scripts() {
  std::string all = "'use strict';\n";
  for (const char *name : {"data.js", "draw.js", "map.js", "batches.js", "rows.js", "main.js"}) {
    all += asset(name);
  }
  return all;
}

std::string filled(std::string_view place, const report_data &data) {
  if (place == "title") {
    return html("Table " + data.table);
  }
  if (place == "version") {
    return html(data.version);
  }
  if (place == "data") {
    return script_json(report_json(data));
  }
  if (place == "rows") {
    return packed_text(report_rows_json(data));
  }
  if (place == "page.js") {
    return scripts();
  }
  return std::string(asset(place == "uplot.js"    ? "uplot/uPlot.iife.min.js"
                           : place == "uplot.css" ? "uplot/uPlot.min.css"
                                                  : place));
}

}  // namespace

// The page with each {{place}} filled; what is filled in is not looked at again.
std::string report_page(const report_data &data) {
  std::string_view rest = asset("page.html");
  std::string page;
  for (size_t at = rest.find("{{"); at != std::string_view::npos; at = rest.find("{{")) {
    const size_t end = rest.find("}}", at);
    page += rest.substr(0, at);
    page += filled(rest.substr(at + 2, end - at - 2), data);
    rest.remove_prefix(end + 2);
  }
  page += rest;
  return page;
}

}  // namespace v6tool
