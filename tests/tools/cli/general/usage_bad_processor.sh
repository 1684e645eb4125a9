v6comp compress --processor 4 $input/office.txt
