v6comp compress $input/office.txt > expected.txt
v6comp compress $input/office.txt -o - | cmp - expected.txt && ls
