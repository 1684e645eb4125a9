v6comp acl --what destinations --format csv - < "${tables%/tables}/rules/office.csv"
