printf '2001:db8::/32 131072\n2001:db8:1::/48\n' | v6comp verify --room off -
