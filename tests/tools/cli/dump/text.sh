v6comp dump $input/office.txt
