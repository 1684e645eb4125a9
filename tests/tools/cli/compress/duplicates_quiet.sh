printf '2001:db8::/32 2\n2001:db8::/32 3\n::/0\n' | v6comp compress --quiet -
