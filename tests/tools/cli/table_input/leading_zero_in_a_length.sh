printf '2001:db8::/032\n' | v6comp compress -
