v6comp list --input xml table.txt
