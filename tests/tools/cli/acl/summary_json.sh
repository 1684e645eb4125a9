v6comp acl --summary --format json "${tables%/tables}/rules/office.csv"
