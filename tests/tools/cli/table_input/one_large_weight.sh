printf '2001:db8::/32 70000\n2001:db9::/32\n2001:dba::/32 1\n' | v6comp verify -
