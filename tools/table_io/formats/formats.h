// SPDX-License-Identifier: Apache-2.0
// formats.h - every format of tables; each is in a file of its own beside this one.
#ifndef FORMATS_H
#define FORMATS_H

#include "table_format.h"

namespace v6tool {

extern const table_format bgpdump_format;
extern const table_format bird_format;
extern const table_format csv_format;
extern const table_format frr_format;
extern const table_format frr_json_format;
extern const table_format ip_json_format;
extern const table_format ip_route_format;
extern const table_format json_format;
extern const table_format list_format;
extern const table_format mrt_format;
extern const table_format proc_format;
extern const table_format rows_format;

}  // namespace v6tool

#endif
