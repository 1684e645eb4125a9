# The new table in another format and packed.
v6comp list -f json "$tables/office_next.txt" | gzip > next.gz
v6comp plan "$tables/office_5.txt" "$tables/office_next.txt" > expected
v6comp plan "$tables/office_5.txt" next.gz | cmp - expected && echo same
