v6comp lookup $input/office.txt 2001:db8:1::/48 2001:db8:2:3::77 2001:db8:8::1 2001:db8::/32
