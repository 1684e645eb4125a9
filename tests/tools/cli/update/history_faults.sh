v6comp update $tables/office_5.txt - <<< $'2001:db8::/32\n+2001:db8::1/32\n'
