v6comp acl --format csv "${tables%/tables}/rules/office.csv" | head -3
