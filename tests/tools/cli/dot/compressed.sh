v6comp dot --what compressed $input/office.txt
