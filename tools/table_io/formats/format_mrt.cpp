// SPDX-License-Identifier: Apache-2.0
// MRT, RFC 6396 and RFC 8050: tables of IPv6 unicast routes, TABLE_DUMP_V2 and TABLE_DUMP. Routes of other families and
// records that are no routes are passed over.
//
// Every record has a header of 12 bytes: time, type, subtype and the length of what follows. Only as much of it is
// looked at as holds the destination.
#include <algorithm>
#include <cstring>
#include <string>

#include "formats.h"

namespace v6tool {

namespace {

enum record_type : unsigned {
  ospf_v2 = 11,
  table_dump = 12,
  table_dump_v2 = 13,
  bgp4mp = 16,
  bgp4mp_et = 17,
  isis = 32,
  isis_et = 33,
  ospf_v3 = 48,
  ospf_v3_et = 49
};

enum table_dump_subtype : unsigned { afi_ipv4 = 1, afi_ipv6 = 2 };

enum table_dump_v2_subtype : unsigned {
  peer_index_table = 1,
  rib_ipv6_unicast = 4,
  rib_generic = 6,
  geo_peer_table = 7,
  rib_ipv6_unicast_addpath = 10,
  rib_generic_addpath = 12
};

constexpr unsigned safi_unicast = 1;
constexpr size_t header_size = 12;
constexpr size_t most_looked_at = 32;  // bytes of a record

unsigned word16(const uint8_t *bytes) { return static_cast<unsigned>(bytes[0] << 8 | bytes[1]); }
uint32_t word32(const uint8_t *bytes) { return uint32_t{word16(bytes)} << 16 | word16(bytes + 2); }

struct mrt_record {
  unsigned type = 0;
  unsigned subtype = 0;
  uint32_t size = 0;               // bytes behind the header
  const uint8_t *bytes = nullptr;  // the first `seen` of them
  size_t seen = 0;
};

bool is_known_type(unsigned type) {
  switch (type) {
    case ospf_v2:
    case table_dump:
    case table_dump_v2:
    case bgp4mp:
    case bgp4mp_et:
    case isis:
    case isis_et:
    case ospf_v3:
    case ospf_v3_et:
      return true;
    default:
      return false;
  }
}

bool recognises(std::string_view head) {
  if (head.size() < header_size) {
    return false;
  }
  uint8_t bytes[header_size];
  std::memcpy(bytes, head.data(), sizeof bytes);
  const unsigned type = word16(bytes + 4);
  const unsigned subtype = word16(bytes + 6);
  const uint32_t size = word32(bytes + 8);
  const bool table = (type == table_dump && (subtype == afi_ipv4 || subtype == afi_ipv6)) ||
                     (type == table_dump_v2 && subtype >= peer_index_table && subtype <= rib_generic_addpath);
  return (table || ((type == bgp4mp || type == bgp4mp_et) && subtype <= 11)) && size <= uint32_t{1} << 24;
}

enum class outcome { prefix, nothing, other_family, too_short, too_long };

// `length` in bits, then as many bytes as hold it; bits beyond the length have no meaning.
outcome read_nlri(const uint8_t *bytes, size_t count, ip_prefix &prefix, size_t &used) {
  if (count == 0) {
    return outcome::too_short;
  }
  const unsigned length = bytes[0];
  used = 1 + (length + 7) / 8;
  if (length > 128) {
    return outcome::too_long;
  }
  if (count < used) {
    return outcome::too_short;
  }
  uint8_t address[16] = {};
  std::memcpy(address, bytes + 1, used - 1);
  prefix.key = masked(key_from_bytes(address), length);
  prefix.length = static_cast<uint8_t>(length);
  return outcome::prefix;
}

// Sequence number, in generic records address family and subfamily, destination, number of routes.
outcome read_rib(const mrt_record &record, bool generic, ip_prefix &prefix) {
  const size_t begin = generic ? 7 : 4;
  if (record.seen < begin) {
    return outcome::too_short;
  }
  if (generic && (word16(record.bytes + 4) != afi_ipv6 || record.bytes[6] != safi_unicast)) {
    return outcome::other_family;
  }
  size_t used = 0;
  const outcome result = read_nlri(record.bytes + begin, record.seen - begin, prefix, used);
  if (result != outcome::prefix) {
    return result;
  }
  if (record.seen < begin + used + 2) {
    return outcome::too_short;
  }
  return word16(record.bytes + begin + used) == 0 ? outcome::nothing : outcome::prefix;
}

outcome read_table_dump_v2(const mrt_record &record, ip_prefix &prefix) {
  switch (record.subtype) {
    case peer_index_table:
    case geo_peer_table:
      return outcome::nothing;
    case rib_ipv6_unicast:
    case rib_ipv6_unicast_addpath:
      return read_rib(record, false, prefix);
    case rib_generic:
    case rib_generic_addpath:
      return read_rib(record, true, prefix);
    default:
      return outcome::other_family;
  }
}

// View and sequence number, address, its length in bits.
outcome read_table_dump(const mrt_record &record, ip_prefix &prefix) {
  if (record.subtype != afi_ipv6) {
    return outcome::other_family;
  }
  if (record.seen < 4 + 16 + 1) {
    return outcome::too_short;
  }
  prefix.key = key_from_bytes(record.bytes + 4);
  prefix.length = record.bytes[20];
  return prefix.length > 128 ? outcome::too_long : outcome::prefix;
}

void take_record(const mrt_record &record, uint64_t number, const std::string &place, table_builder &table) {
  ip_prefix prefix;
  switch (record.type == table_dump_v2 ? read_table_dump_v2(record, prefix) : read_table_dump(record, prefix)) {
    case outcome::prefix:
      table.binary(number, place, prefix);
      break;
    case outcome::other_family:
      table.other_family();
      break;
    case outcome::too_short:
      table.bad_at(place, "too short for its destination");
      break;
    case outcome::too_long:
      table.bad_at(place, "prefix length above 128");
      break;
    case outcome::nothing:
      break;
  }
}

void read(byte_input &input, table_builder &table) {
  bool messages = false;
  bool tables = false;
  for (uint64_t number = 1;; ++number) {
    const std::string place = "record " + std::to_string(number) + " at byte " + std::to_string(input.taken());
    char header[header_size];
    const size_t got = input.take(header, sizeof header);
    if (got == 0) {
      break;
    }
    uint8_t bytes[header_size] = {};
    std::memcpy(bytes, header, got);
    mrt_record record{word16(bytes + 4), word16(bytes + 6), word32(bytes + 8)};
    if (got == sizeof header && !is_known_type(record.type)) {
      table.broken(place + ": type " + std::to_string(record.type) + " is none of MRT; the file is damaged");
      return;
    }
    char body[most_looked_at] = {};
    uint8_t start[most_looked_at];
    record.seen = input.take(body, std::min<size_t>(record.size, sizeof body));
    std::memcpy(start, body, sizeof start);
    record.bytes = start;
    const uint64_t behind = record.size - record.seen;
    if (got < sizeof header || input.skip(behind) < behind) {
      table.broken(place + ": the file is cut off here, inside the record");
      return;
    }
    const bool is_table = record.type == table_dump || record.type == table_dump_v2;
    tables = tables || is_table;
    messages = messages || !is_table;
    if (is_table) {
      take_record(record, number, place, table);
    }
  }
  if (messages && !tables) {
    table.broken("MRT with messages between routers only, no table; take a file with a whole table (RIB)");
  }
}

}  // namespace

const table_format mrt_format = {"mrt", "MRT, TABLE_DUMP_V2 and TABLE_DUMP", repeats::are_paths, recognises, read};

}  // namespace v6tool
