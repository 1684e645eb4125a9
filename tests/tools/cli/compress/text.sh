v6comp compress $input/office.txt
