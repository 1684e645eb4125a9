v6comp compress $input/tight.txt
