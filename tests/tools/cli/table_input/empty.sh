v6comp compress $input/empty.txt
