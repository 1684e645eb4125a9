v6comp verify --random-probes 5 --seed 7 $input/office.txt
