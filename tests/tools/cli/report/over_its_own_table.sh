cp "$tables/office_5.txt" table.txt
v6comp report table.txt -o table.txt
code=$?
cmp table.txt "$tables/office_5.txt"
exit $code
