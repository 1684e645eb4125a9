yes nonsense | head -n 30 | v6comp verify -
