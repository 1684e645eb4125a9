printf '2001:db8::/32 64500\n2001:db9::/32 64501\n2001:dba::/32 1\n' | v6comp compress -
