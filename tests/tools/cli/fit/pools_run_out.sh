v6comp fit --pool-elements default $histories/op_china_monthly.base.txt $histories/op_china_monthly.updates.txt | head -4
