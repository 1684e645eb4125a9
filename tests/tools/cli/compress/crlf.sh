v6comp compress $input/crlf.txt
