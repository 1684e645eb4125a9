for table in $tables/*.txt; do
  v6comp verify $table || exit
done
