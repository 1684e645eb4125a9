v6comp compress $input/faults.txt -o rows.txt
code=$?
ls
exit $code
