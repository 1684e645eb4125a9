v6comp generate -n 12 --mix 32:1,48:2,64:1 --nested 0.5 --clustered 0.25 --seed 7
