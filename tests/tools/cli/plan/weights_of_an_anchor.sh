printf '2001:db8::/32\n2001:db9::/32\n' > old.txt
printf '2001:db8::/32\n2001:db8::/32 65535\n2001:db9::/32\n' > new.txt
v6comp plan --room off old.txt new.txt --simulate -o steps.txt
code=$?
ls
exit $code
