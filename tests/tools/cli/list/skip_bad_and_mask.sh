printf '%s\n' 2001:db8::1/32 nonsense 8000::/1 > table.txt
v6comp list --mask --skip-bad 1 table.txt
v6comp list --skip-bad 1 table.txt
