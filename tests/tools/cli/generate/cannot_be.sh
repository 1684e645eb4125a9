v6comp generate -n 10 --nested 0.95
