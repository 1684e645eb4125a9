# Rules that cannot be rules get one sentence, and what packs them is undone.
printf '\377\376s\0o\0u\0r\0c\0e\0' > rules.csv
v6comp acl rules.csv; echo "exit $?"
v6comp acl "$(command -v v6comp)" 2>&1 | sed 's/.*: //'
v6comp acl - < <(gzip -c $tables/../rules/office.csv) --summary | sed -n 1p
