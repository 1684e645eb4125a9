# A chain of 66 prefixes needs more than 64 bits. What programs read holds no row for it; the reason is said beside it.
{ echo '+2001:db9::/32'; echo '---'; for n in $(seq 33 97); do echo "+2001:db8::/$n"; done; echo '---'; } > changes.txt
echo 2001:db8::/32 > table.txt
for format in text json csv; do
  v6comp explain --update changes.txt --batch 2 table.txt -f $format; echo "exit $?"
done
v6comp explain --update changes.txt --batch 2 table.txt -q -f ndjson; echo "exit $?"
