// SPDX-License-Identifier: Apache-2.0
// batch_policy.h - in which requests a batch of changes is sent to the library.
//
// The library applies the records of one request longest prefix first. A new prefix then often comes after new ones
// inside it, and has to be put between them and what encloses them, where room is scarce; sent shortest first, each
// finds its place below what is there already.
#ifndef BATCH_POLICY_H
#define BATCH_POLICY_H

#include <span>
#include <string>
#include <vector>

#include "compatible_instance.h"
#include "history_reader.h"

namespace v6tool {

using request_rows_list = std::vector<std::vector<request_row>>;

struct batch_policy {
  const char *name;
  request_rows_list (*first)(std::span<const request_row> batch);
  request_rows_list (*on_refusal)(std::span<const request_row> batch);  // null: no second try
};

const batch_policy *find_policy(const std::string &name);  // null: none of that name
const batch_policy &default_policy();
std::string policy_names();  // "plain|deletes-first|..."

std::vector<request_row> rows_of_batch(const history_batch &batch);

}  // namespace v6tool

#endif
