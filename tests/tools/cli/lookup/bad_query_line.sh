printf '2001:db8::1\n2001:db8::g\n' | v6comp lookup $input/office.txt
