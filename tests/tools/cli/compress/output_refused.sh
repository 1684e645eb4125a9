v6comp compress $input/office.txt -o /dev/full
