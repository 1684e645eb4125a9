v6comp fit --pool-elements 60000 $histories/op_china_monthly.base.txt $histories/op_china_monthly.updates.txt | grep -v "^ *[0-9]"
