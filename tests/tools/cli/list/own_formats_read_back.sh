for format in text json ndjson csv; do
  v6comp compress "$tables/dc_wikimedia_144.txt" -f $format -o table.$format
  v6comp dump "$tables/dc_wikimedia_144.txt" -f $format -o dump.$format
  v6comp list "$tables/dc_wikimedia_144.txt" -f $format -o list.$format
done
v6comp list "$tables/dc_wikimedia_144.txt" > expected
for format in text json ndjson csv; do
  v6comp list -v table.$format 2>&1 > got
  cmp expected got
  v6comp list -v list.$format 2>&1 > got
  cmp expected got
  # The library's walk has ::/0 too.
  v6comp list -v dump.$format 2>&1 > got
  (echo ::/0; cat expected) | cmp - got
done
