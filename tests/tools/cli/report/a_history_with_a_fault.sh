echo '+2001:db8::1/32' > changes.txt
v6comp report "$tables/office_5.txt" changes.txt -o page.html
code=$?
ls
exit $code
