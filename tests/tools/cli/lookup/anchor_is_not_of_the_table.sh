v6comp lookup $input/office.txt 2001:db8:ffff::/48
