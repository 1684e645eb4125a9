v6comp acl --what flows --accept "resubmit(,10)" "${tables%/tables}/rules/office.csv"
