# Only the anchors of the host route cover the address; the table's own /32 is the match.
v6comp lookup -f csv $input/office.txt 2001:db8:ffff::2 2001:db8:ffff::1
