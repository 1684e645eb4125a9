printf '2001:db8::/32 3\n' > table.txt
printf -- '-2001:db8::/32 4\n+2001:db9::/32\n---\n+2001:dba::/32\n' > history.txt
v6comp update table.txt history.txt --room off --policy plain --verify every -f csv -q | cut -d, -f1-9,11,13-
exit ${PIPESTATUS[0]}
