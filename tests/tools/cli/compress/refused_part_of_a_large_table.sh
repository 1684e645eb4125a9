# Of many prefixes those are named that break the limit: alone they do not fit, without one of them they do.
(cat $tables/dc_wikimedia_144.txt; cat $input/tight.txt) > table.txt
v6comp compress --room off table.txt 2> talk.txt
echo "exit $?"
sed -n 's/^v6comp:   \([0-9a-f:/]*\) .*/\1/p' talk.txt > named.txt
wc -l < named.txt
grep -cxFf named.txt $input/tight.txt
