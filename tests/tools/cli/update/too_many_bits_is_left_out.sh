# A batch that 64 bits do not suffice for is left out, in room mode: the table is as it was, and the next batch comes.
printf '%s\n' ::/1 ::/2 ::/3 > table.txt
(printf '+fd00::/8\n---\n'; for length in $(seq 4 90); do echo "+::/$length"; done; printf -- '---\n-fd00::/8\n') > history.txt
for action in recompress skip stop; do
  v6comp update table.txt history.txt --on-refusal $action --verify every -f csv -q | cut -d, -f 1-3,7-9,11,14-16
  echo "exit $?"
done
