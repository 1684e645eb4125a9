printf '2001:db8::/32\n2001:db9::/32\n' > old.txt
printf '+2001:db8:1::/48\n---\n+2001:db9::/32 65535\n' > history.txt
v6comp plan --room off old.txt history.txt --simulate
