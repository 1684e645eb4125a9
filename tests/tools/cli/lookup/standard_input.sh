printf '# questions\n\n2001:db8:1::/48\r\n  2001:db8:1::1  # and an address\n' | v6comp lookup $input/office.txt
