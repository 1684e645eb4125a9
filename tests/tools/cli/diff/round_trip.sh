# Applied to the old table a difference makes the new one: of tables of any format, in one batch or many, both ways.
compare() {
  v6comp diff "$@" > changes.txt
  v6comp update "$1" changes.txt --verify end -s | sed -n '1,2p; $p'
  v6comp diff "$@" --batch-size 40 | v6comp plan "$1" - --simulate | tail -n 2
}
gzip -c $tables/dc_wikimedia_144.txt > new.gz
compare $histories/dc_wikimedia.base.txt new.gz
compare new.gz $histories/dc_wikimedia.base.txt
v6comp list $tables/op_china_1641.txt > expected
v6comp diff $histories/op_china_monthly.base.txt $tables/op_china_1641.txt -o changes.txt
(v6comp list $histories/op_china_monthly.base.txt | sed 's/^/+/'; cat changes.txt) |
  awk '/^\+/ { there[substr($0, 2)] = 1 } /^-[^-]/ { delete there[substr($0, 2)] } END { for (p in there) print p }' > got.txt
v6comp list got.txt | cmp - expected && echo same
v6comp diff $tables/office_5.txt $tables/office_5.txt | v6comp update $tables/office_5.txt - | tail -n 1
