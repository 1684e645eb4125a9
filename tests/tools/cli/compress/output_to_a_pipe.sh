mkfifo pipe
v6comp compress $input/office.txt -o pipe &
cmp pipe <(v6comp compress $input/office.txt) && ls -F
