for c in $(v6comp --help | sed -n '/^Commands:/,/^$/s/^  \([a-z]*\) .*/\1/p'); do
  v6comp $c -V | cmp - <(v6comp --version)
  v6comp -q $c -h | cmp - <(v6comp help $c)
done
printf '%s\n' 2001:db8::/32 2001:db8::/32 > twice
v6comp -q compress twice
v6comp compress -q twice
v6comp compress twice
