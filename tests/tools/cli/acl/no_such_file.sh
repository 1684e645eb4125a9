v6comp acl nothing.csv
