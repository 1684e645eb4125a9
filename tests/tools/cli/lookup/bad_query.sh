v6comp lookup $input/office.txt 2001:db8::/32 2001:db8::1/32 nonsense
