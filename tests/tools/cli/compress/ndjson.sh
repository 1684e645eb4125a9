v6comp compress -f ndjson $input/office.txt
