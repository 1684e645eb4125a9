v6comp compress --pool-elements default $tables/op_china_1641.txt
