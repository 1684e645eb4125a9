# Half of one addition cannot be nested; what was asked for is met or refused.
printf '2001:db8::/32\n2001:db8:1::/48\n' > two
for size in 1 2 3 5; do v6comp churn two --batches 2 --size $size | grep -c '^[-+][0-9]'; done
v6comp churn two --batches 1 --size 1 --additions 1 --nested 1 --mix 32:1; echo "exit $?"
