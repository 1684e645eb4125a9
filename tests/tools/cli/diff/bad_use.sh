# What is wrong with either table, and with both.
v6comp diff $tables/office_5.txt; echo "exit $?"
v6comp diff - - < /dev/null; echo "exit $?"
v6comp diff absent.txt $tables/office_5.txt; echo "exit $?"
v6comp diff $tables/office_5.txt absent.txt; echo "exit $?"
v6comp diff $tables/office_5.txt $input/faults.txt > /dev/null; echo "exit $?"
v6comp diff $tables/office_5.txt $tables/office_next.txt --batch-size 0; echo "exit $?"
v6comp diff $tables/office_5.txt $tables/office_next.txt --sort prefix; echo "exit $?"
cp $tables/office_next.txt new.txt
v6comp diff $tables/office_5.txt new.txt -o new.txt; echo "exit $?"
