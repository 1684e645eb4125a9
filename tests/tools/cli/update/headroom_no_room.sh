v6comp update $histories/op_china_monthly.base.txt $histories/op_china_monthly.updates.txt --headroom -f csv -q
