# Said before any work: the history, which would take its time, is not even opened.
mkdir folder
for output in folder folder/ no/such/folder/rows; do v6comp update $input/office.txt absent.txt -o $output; echo "exit $?"; done
