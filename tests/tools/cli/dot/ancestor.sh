v6comp dot $input/office.txt
