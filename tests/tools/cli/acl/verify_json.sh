for format in json ndjson csv; do
  v6comp acl --verify "${tables%/tables}/rules/office.csv" -f $format
done
