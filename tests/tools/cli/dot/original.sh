v6comp dot --what original $input/office.txt
