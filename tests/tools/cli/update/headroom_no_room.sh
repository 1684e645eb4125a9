v6comp update $histories/op_china_monthly.base.txt $histories/op_china_monthly.updates.txt --room off --headroom -f csv -q
