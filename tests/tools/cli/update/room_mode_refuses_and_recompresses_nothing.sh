for h in dc_wikimedia host128_vpn op_china_monthly; do
  v6comp update $histories/$h.base.txt $histories/$h.updates.txt --verify every -s -f csv -q |
    grep -E '^(history|policy|room|batches|accepted|recompressed|refused|moved|changed_by|checks|violations)' || exit 1
done
