v6comp --help | grep -oE '^  (compress|lookup|verify|dump|dot|update|plan) ' | tr -d ' '
for c in compress lookup verify dump dot update plan; do v6comp $c --help | grep -c 'Exit: 0'; done
