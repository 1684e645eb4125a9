// SPDX-License-Identifier: Apache-2.0
// report_page.h - a report as one HTML page that needs nothing else.
#ifndef REPORT_PAGE_H
#define REPORT_PAGE_H

#include <string>

#include "report_data.h"

namespace v6tool {

// Figures of the report as JSON (docs/schemas/report.schema.json), as they stand in the page.
std::string report_json(const report_data &data);

// The rows as JSON in columns, before they are packed.
std::string report_rows_json(const report_data &data);

std::string report_page(const report_data &data);

}  // namespace v6tool

#endif
