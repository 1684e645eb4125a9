# In room mode weights are counted as they are: no sum of them is special.
printf '2001:db8::/32 65535\n2001:db9::/32 4294967295\n' > table.txt
printf -- '+2001:db8::/32\n+2001:db9::/32 2\n---\n-2001:db8::/32 65535\n-2001:db9::/32 4294967295\n---\n-2001:db8::/32\n-2001:db9::/32 2\n' > history.txt
v6comp update table.txt history.txt --verify every -f csv -q | cut -d, -f 1-5,7,9,11,18
