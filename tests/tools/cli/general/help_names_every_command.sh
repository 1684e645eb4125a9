v6comp help | cmp - <(v6comp --help)
commands=$(v6comp --help | sed -n '/^Commands:/,/^$/s/^  \([a-z]*\) .*/\1/p')
for c in list compress lookup verify dump dot update plan help; do grep -x $c <<< "$commands"; done
for c in $commands; do
  v6comp help $c | cmp - <(v6comp $c -h)
  v6comp $c --help | tr -s '\n ' ' ' | grep -q 'Exit: 0 .*2 usage or bad input; 3 it could not be done\. $' || echo "$c: no exit codes"
done
