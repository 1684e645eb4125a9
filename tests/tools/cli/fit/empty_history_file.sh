: > none.txt
v6comp fit $tables/office_5.txt none.txt
