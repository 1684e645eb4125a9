name=$'red\e[31m\n.txt'
v6comp compress "$name"
printf '2001:db8::/32\n2001:db8::/33 x\n2001:db8::/32\n' > "$name"
v6comp compress "$name"
printf '+2001:db8::/32\n*\n' > "$name"
v6comp update $input/office.txt "$name"
v6comp compress $input/office.txt "$name"
v6comp compress $input/office.txt -o "no/$name"
