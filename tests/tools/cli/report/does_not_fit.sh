# A chain of 66 prefixes, each in the one before: 65 own places, one bit each.
for length in {0..65}; do echo "::/$length"; done > chain.txt
v6comp report chain.txt -o page.html
code=$?
ls
exit $code
