// SPDX-License-Identifier: Apache-2.0
// page_assets.h - the files of web/, built in.
#ifndef PAGE_ASSETS_H
#define PAGE_ASSETS_H

#include <cstddef>

namespace v6tool {

struct page_asset {
  const char *name;  // as in web/
  size_t size;
  const char *bytes;
};

extern const page_asset page_assets[];
extern const unsigned page_asset_count;

}  // namespace v6tool

#endif
