v6comp dump -f json $input/office.txt
