// SPDX-License-Identifier: Apache-2.0
// A C++20 host of the installed table interface: loads a prefix and looks an address up.
#include <array>
#include <iostream>
#include <zel_v6comp/zel_v6comp.hpp>

int main() {
  const v6comp::result<v6comp::prefix> office = v6comp::prefix::parse("2001:db8::/32");
  const v6comp::result<v6comp::address> packet = v6comp::address::parse("2001:db8::7");
  v6comp::result<v6comp::table> table = v6comp::table::open();
  if (!table || !office || !packet || !table->load(std::array{v6comp::entry_of(*office, 7)})) {
    return 1;
  }
  const v6comp::result<v6comp::row> row = table->lookup(*packet);
  if (!row) {
    return 2;
  }
  std::cout << to_string(*packet) << " is in " << to_string(row->prefix) << ", code " << to_string(row->code) << '\n';
  return row->word == 7 && row->code.covers(row->key) ? 0 : 3;
}
