printf '::/0\n2001:db8::/32\n' | v6comp lookup - 2001:db9::1 ::/0
