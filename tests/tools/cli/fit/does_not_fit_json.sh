v6comp fit --format ndjson $input/levels_70.txt
