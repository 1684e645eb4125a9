# The steps of a history are the writes that its batches count, in both modes.
for room in on 'off --policy plain'; do
  v6comp plan $histories/host128_vpn.base.txt $histories/host128_vpn.updates.txt --room $room -f csv -q |
    awk -F, 'NR > 1 { print $1, $2, $3, $4, $5, $7 }' > counts
  v6comp plan $histories/host128_vpn.base.txt $histories/host128_vpn.updates.txt --room $room --steps -f csv -q |
    awk -F, 'NR > 1 { n[$1, $4]++ } END { for (b = 1; b <= 9; b++) print b, n[b, "remove"] + 0, n[b, "update"] + 0, n[b, "insert"] + 0, n[b, "move"] + 0, n[b, "add_code"] + n[b, "remove_code"] }' > steps
  diff counts steps && wc -l < counts
done
