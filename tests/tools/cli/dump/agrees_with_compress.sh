v6comp compress -f csv $tables/op_china_1641.txt | cut -d, -f1,3- | sort > rows
v6comp dump -f csv $tables/op_china_1641.txt | grep -v '^::/0,' | sort > dumped
cmp rows dumped && wc -l < rows
