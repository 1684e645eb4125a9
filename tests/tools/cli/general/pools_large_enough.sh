v6comp verify --pool-elements 50000 $tables/op_china_1641.txt
