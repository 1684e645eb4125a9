v6comp compress --pool-elements 0 $input/office.txt
