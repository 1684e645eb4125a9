# What a router prints, compressed as if somebody had listed it.
v6comp list "$input/../../formats/frr_show_ipv6_route.json" > list.txt
v6comp compress list.txt > expected
v6comp compress "$input/../../formats/frr_show_ipv6_route.json" | sort > got
sort expected | cmp - got && wc -l < got
