# /0 and 64 prefixes, each inside the one before: 64 bits.
seq 1 64 | sed 's|^|::/|' | v6comp verify -
