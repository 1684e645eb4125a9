v6comp compress -f xml $input/office.txt
