v6comp lookup $input/office.txt 2001:db9::1 ::/0
