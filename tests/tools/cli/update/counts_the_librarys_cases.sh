# The tool's own classification against what the library says while it works.
compare() {
  v6comp update "$@" -s -f csv -q | grep by_case | grep -E 'present|below_leaf|beside|new_level' | cut -d, -f2 > ours
  v6comp update "$@" -s --debug-level 7 2> log > /dev/null
  # Of a new level it says case a first: its place is there, as a bend of the path to longer prefixes.
  b=$(grep -c 'case b, ' log)
  c=$(grep -c 'case c, ' log)
  d=$(grep -c 'case d, ' log)
  a=$(($(grep -c 'case a, ' log) - d))
  printf '%s\n' "$a" "$b" "$c" "$d" > theirs
  diff ours theirs && echo "$(tr '\n' ' ' < ours)"
}
compare $histories/host128_vpn.base.txt $histories/host128_vpn.updates.txt --room off
printf '2001:db8:1::/48\n2001:db8:2::/48\n' > table.txt
printf -- '+2001:db8::/46\n' > history.txt
compare table.txt history.txt --room off --policy plain
