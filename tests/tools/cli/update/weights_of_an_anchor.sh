printf '2001:db8::/32\n' | v6comp update --room off - <(printf -- '+2001:db8::/32 65535\n') 2>&1 | sed 's|/dev/fd/[0-9]*|history|'
