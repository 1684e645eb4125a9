cp "$input/../../../rules_io/rules/office.json" .
v6comp acl --verify -v office.json
