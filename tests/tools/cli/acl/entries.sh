v6comp acl "${tables%/tables}/rules/office.csv"
