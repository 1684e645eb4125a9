v6comp acl --summary "${tables%/tables}/rules/office.csv"
