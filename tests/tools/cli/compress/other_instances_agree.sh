v6comp compress $input/office.txt > first
for processor in 0 3; do
  for instance in 0 1; do
    v6comp compress --processor $processor --instance $instance $input/office.txt | cmp - first && echo same
  done
done
