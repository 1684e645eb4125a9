printf '%s\n' -2001:db8:1::/48 --- -2001:db8:2::/48 > less.txt
v6comp fit $tables/office_5.txt less.txt | head -6
