v6comp compress $input/nul.txt
