# Weights add up; the last delete takes the prefix away; absent ones are only counted.
printf '2001:db8::/32 3\n' > table.txt
printf -- '-2001:db8::/32 2\n+2001:db8::/32\n---\n-2001:db8::/32 2\n---\n-2001:db8::/32\n-2001:db9::/32\n---\n' > history.txt
v6comp update table.txt history.txt --verify every -f csv -q | cut -d, -f1-9,11
