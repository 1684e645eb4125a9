v6comp generate -n 500 --nested 0.3 --clustered 0.2 > table.txt
v6comp churn --batches 20 --size 30 --additions 0.7 table.txt -o changes.txt
v6comp update --summary --verify every table.txt changes.txt | sed '/time\|_us\|ms/d' | head -4
