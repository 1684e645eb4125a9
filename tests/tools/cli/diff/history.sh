# The changes as a history, by address; weights are told where they are not 1.
printf '2001:db8::/32\n2001:db8:1::/48 4\n2001:db8:2::/48\n' > old.txt
printf '2001:db8:1::/48 6\n2001:db8:2::/48\n2001:db8:2:1::/64\n::/0 2\n' > new.txt
v6comp diff old.txt new.txt
v6comp diff old.txt new.txt --batch-size 3
v6comp diff old.txt new.txt --batch-size 3 -f csv
v6comp diff old.txt new.txt -f ndjson --fields change,prefix --sort prefix:down
v6comp diff old.txt old.txt
