v6comp squeeze $input/office.txt
