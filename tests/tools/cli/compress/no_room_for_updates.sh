v6comp compress --room off $input/tight.txt
