yes 2001:db8::/129 | head -n 30 | v6comp verify -
