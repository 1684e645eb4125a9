printf '2001:db8::/32 4\n2001:db9::/32\n' > table.txt
printf -- '-2001:db8::/32\n---\n-2001:db8::/32\n-2001:db8::/32 2\n---\n-2001:db9::/32\n' > history.txt
v6comp update table.txt history.txt -f csv | cut -d, -f 1-5,7,9,18
v6comp update table.txt history.txt --summary 2> /dev/null | sed -n 2p
v6comp update table.txt history.txt --summary -f json -q | grep held
v6comp plan table.txt history.txt > /dev/null
v6comp update -q table.txt history.txt > /dev/null
