echo before > rows.txt
ln rows.txt other_name.txt
v6comp compress $input/tight.txt --room off -q -o rows.txt 2> /dev/null
cat rows.txt
(ulimit -f 0; trap '' XFSZ; v6comp compress $input/office.txt -o rows.txt)
echo "exit $?"
cat rows.txt
v6comp compress $input/office.txt -o rows.txt
echo "exit $?"
cat other_name.txt
cmp rows.txt <(v6comp compress $input/office.txt) && ls
