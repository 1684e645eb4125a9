printf '2001:db8::/32 65536\n2001:db8:1::/48 65535\n2001:db8:2::/48 3\n' | v6comp dump --room off -
