v6comp compress $input/office.txt -o no/such/directory/rows.txt
