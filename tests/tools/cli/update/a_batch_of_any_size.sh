# In room mode neither a table nor a batch is bound to the size of a request.
seq 0 65534 | awk '{ printf "+2001:%x:%x::/48\n", $1 / 256, $1 % 256 }' | v6comp update $input/office.txt - --verify off -f csv -q | cut -d, -f 1-5,7-9
