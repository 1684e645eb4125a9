seq 0 69999 | awk '{ printf "2001:%x:%x::/48\n", $1 / 256, $1 % 256 }' | v6comp list - | wc -l
