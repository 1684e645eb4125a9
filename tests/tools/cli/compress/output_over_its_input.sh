cp $input/office.txt t.txt
ln t.txt same.txt
for call in 'compress t.txt -o t.txt' 'verify t.txt -o same.txt' 'dump t.txt -o ./t.txt' 'dot t.txt -o t.txt'; do
  v6comp $call
  echo "exit $?"
done
v6comp compress - -o t.txt < t.txt
echo "exit $?"
v6comp lookup $input/office.txt -o t.txt < t.txt
echo "exit $?"
v6comp update $input/office.txt t.txt -o t.txt
echo "exit $?"
v6comp plan $input/office.txt t.txt -o t.txt
echo "exit $?"
cmp t.txt $input/office.txt && ls
