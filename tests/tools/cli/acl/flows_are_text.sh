v6comp acl --what flows "${tables%/tables}/rules/office.csv" -f json; echo "exit $?"
v6comp acl --verify --what flows "${tables%/tables}/rules/office.csv" -f ndjson | cut -d, -f2; echo "exit $?"
