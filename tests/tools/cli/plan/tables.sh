printf '2001:db8::/32\n2001:db8:1::/48\n' > old.txt
printf '2001:db8::/32\n2001:db8:1::/48\n2001:db8:1:2::/64\n2001:db9::/32\n' > new.txt
v6comp plan old.txt new.txt --simulate
