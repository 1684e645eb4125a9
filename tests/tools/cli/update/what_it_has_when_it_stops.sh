printf '%s\n' ::/1 ::/2 ::/3 > table.txt
(printf '+fd00::/8\n---\n-fd00::/8\n---\n'; for length in $(seq 4 90); do echo "+::/$length"; done) > history.txt
v6comp update --room off table.txt history.txt -f csv 2> talk.txt | cut -d, -f 1-3,7,9
echo "exit $?"
sed -n 1,3p talk.txt
v6comp update --room off table.txt history.txt --summary -f json 2> /dev/null | grep -E 'batches|accepted"'
v6comp update --room off table.txt history.txt 2> /dev/null | tail -n 1
