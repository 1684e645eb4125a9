cp "$input/../../../rules_io/rules/not_for_entries.json" .
v6comp acl not_for_entries.json
