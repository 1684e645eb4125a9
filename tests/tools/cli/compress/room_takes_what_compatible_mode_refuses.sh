# Tables whose codes fit, but not with the limits of compatible mode; and nothing else changes.
v6comp verify $input/tight.txt
(cat $tables/dc_wikimedia_144.txt; cat $input/tight.txt) | v6comp verify -
for table in $tables/*.txt; do
  cmp <(v6comp compress --room on $table) <(v6comp compress --room off $table) && echo "$table: same in both modes"
done
