v6comp acl --verify -q "$input/../../../rules_io/rules/office.ip6tables"
