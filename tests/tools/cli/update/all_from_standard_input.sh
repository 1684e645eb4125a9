# A table and its history, or the next table: whichever is asked, the other would find nothing.
for command in update plan fit report; do v6comp $command - - < $input/office.txt; echo "$command: exit $?"; done
v6comp explain - --update - < $input/office.txt; echo "explain: exit $?"
