v6comp compress $input/office.txt -o rows.txt
v6comp compress $input/office.txt | cmp - rows.txt && echo same
