{ printf '2001:db8:1::/48\nfoo\n\xff\n  # nothing\n\n2001:db9::1 # far\r\n'; head -c 3000 /dev/zero | tr '\0' a; printf '\n2001:db8::1'; } |
  v6comp lookup --fields query,found,fault $input/office.txt
