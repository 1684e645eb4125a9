v6comp acl --verify "${tables%/tables}/rules/office.csv"
