seq 0 65534 | awk '{ printf "+2001:%x:%x::/48\n", $1 / 256, $1 % 256 }' | v6comp update --room off $input/office.txt -
