v6comp list "$(command -v v6comp)" 2>&1 | sed 's/.*: //'
echo '<html>' | v6comp list -
