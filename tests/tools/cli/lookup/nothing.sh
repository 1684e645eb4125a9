v6comp lookup $input/office.txt ''
