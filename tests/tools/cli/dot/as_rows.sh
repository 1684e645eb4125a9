v6comp dot --format csv --what compressed $input/office.txt
v6comp dot --format ndjson --fields node,parent --sort node $input/office.txt
v6comp dot --fields node $input/office.txt
