v6comp lookup $input/office.txt 2001:db8:1::/48 2001:db8:1::/49
