# Whatever the requests, the table at the end is the same, and right after every batch.
for policy in plain deletes-first split shortest-first; do
  echo "$policy"
  v6comp update $histories/host128_vpn.base.txt $histories/host128_vpn.updates.txt --room off --policy $policy --verify every \
    -s -f csv -q | grep -E '^(table_prefixes|batches|present|absent|refused_changes|violations|checks)' || exit
done
