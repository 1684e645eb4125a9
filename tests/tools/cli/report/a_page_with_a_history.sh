v6comp report -o page.html "$histories/dc_wikimedia.base.txt" "$histories/dc_wikimedia.updates.txt"
grep -c '^<!DOCTYPE html>' page.html
grep -o '"batches":{"number":\[1,2,3' page.html
