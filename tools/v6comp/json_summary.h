// json_summary.h - figures of a whole, for programs.
#ifndef JSON_SUMMARY_H
#define JSON_SUMMARY_H

#include <nlohmann/json.hpp>
#include <string>

#include "output_format.h"

namespace v6tool {

// json: one object; ndjson: the same on one line; csv: key,value with nested keys joined by dots. Not for text.
std::string format_summary(const nlohmann::ordered_json &object, const output_format &format);

}  // namespace v6tool

#endif
