# 63 prefixes inside a /1 and each inside the one before, and a sibling on the way that needs bits of its own: the table
# fits exactly as long as the figure is at most 64.
for n in 62 63 64 65; do
  seq 1 $n | sed 's|^|::/|' > chain.txt
  echo '4000::/3' >> chain.txt
  v6comp compress chain.txt --summary -f csv -q 2> talk.txt | grep bits_required || sed -n 1p talk.txt
done
