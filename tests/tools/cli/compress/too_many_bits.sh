# 70 prefixes, each inside the one before.
seq 1 70 | sed 's|^|::/|' | v6comp compress -
