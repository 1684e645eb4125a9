v6comp compress $input/office.txt > /dev/full
