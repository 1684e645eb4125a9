v6comp generate -n 2 --format json --within fd00::/8 --mix 64:1
