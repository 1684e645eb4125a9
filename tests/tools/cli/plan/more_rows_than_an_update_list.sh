# A plan along a history takes tables of any size.
seq 0 39999 | awk '{ printf "2001:%x:%x::/48\n", $1 / 256, $1 % 256 }' > table.txt
printf -- '+2001:db8:1:2::/64\n-2001:0:1::/48\n---\n+2001:db8:1::/48\n' > history.txt
v6comp plan table.txt history.txt
