v6comp compress -f csv $input/office.txt
