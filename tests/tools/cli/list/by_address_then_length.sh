printf '%s\n' 8000::/1 2001:db8:1::/48 2001:db8::/32 '2001:DB8::/48 2' ::/0 '2001:db8:0::/48 3' > table.txt
v6comp list table.txt
v6comp list -q -f csv table.txt
