# What a batch would write that is refused is nothing; the steps go on behind it, or end there.
(echo ::/0; for length in $(seq 1 50); do echo "::/$length"; done) > table.txt
(for length in $(seq 51 90); do echo "+::/$length"; done; printf -- '---\n+2001:db8::/32\n') > history.txt
for action in skip stop; do
  v6comp plan table.txt history.txt --simulate --on-refusal $action
  echo "exit $?"
done
