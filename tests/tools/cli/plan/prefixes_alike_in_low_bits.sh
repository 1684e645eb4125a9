# /35s of one /32: the update list compares the low bits of the partial byte, which are the same in all of them.
printf '2001:db8::/35\n2001:db8:2000::/35\n' > table.txt
printf -- '+2001:db8:4000::/35\n-2001:db8::/35\n---\n+2001:db8:6000::/35\n' > history.txt
v6comp plan table.txt history.txt --simulate
