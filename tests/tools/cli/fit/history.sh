v6comp fit $histories/op_china_monthly.base.txt $histories/op_china_monthly.updates.txt | head -7
