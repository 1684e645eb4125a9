gzip -c "$input/../../formats/ip6route_a.txt" > routes
v6comp list -v routes | head -n 3
v6comp list routes > listed
v6comp list "$input/../../formats/ip6route_a.txt" | cmp - listed
