v6comp verify --format json $input/office.txt
v6comp verify --format csv $input/office.txt
