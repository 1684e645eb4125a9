# As rows, the same changes as the history has; fields and order as asked.
v6comp churn --batches 3 --size 4 --seed 2 $tables/dc_wikimedia_144.txt > changes.txt
v6comp churn --batches 3 --size 4 --seed 2 $tables/dc_wikimedia_144.txt -f csv -o changes.csv
awk -F, 'NR > 1 && $1 != batch { if (batch) print "---"; batch = $1 } NR > 1 { print ($2 == "add" ? "+" : "-") $3 } END { print "---" }' \
  changes.csv | cmp - changes.txt && echo same
v6comp churn --batches 1 --size 4 --seed 2 $tables/dc_wikimedia_144.txt -f ndjson --fields change,prefix --sort prefix:down
v6comp churn --batches 1 --size 4 $tables/dc_wikimedia_144.txt --sort prefix; echo "exit $?"
