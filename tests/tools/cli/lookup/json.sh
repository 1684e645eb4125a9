v6comp lookup -f json $input/office.txt 2001:db8:1::/48 2001:db8:ffff::2 2001:db9::1
