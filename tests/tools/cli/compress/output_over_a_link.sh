echo before > target.txt
ln -s target.txt link.txt
ln -s nowhere.txt dangling.txt
v6comp compress $input/office.txt -o link.txt
echo "exit $?"
v6comp compress $input/office.txt -o dangling.txt
echo "exit $?"
cat link.txt
v6comp compress $input/office.txt -o /dev/null
ls
