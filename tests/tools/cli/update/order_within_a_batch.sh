# A prefix added and deleted in one batch is gone afterwards, one deleted and added is there, under every policy.
printf '2001:db8::/32\n2001:db9::/32\n' > table.txt
printf -- '+2001:dba:1::/48\n-2001:dba:1::/48\n-2001:db9::/32\n+2001:db9::/32\n' > history.txt
for policy in plain deletes-first split shortest-first; do
  v6comp update table.txt history.txt --room off --policy $policy --verify every -f csv -q | tail -n 1 | cut -d, -f1-7,9,11
done
