v6comp explain --update $input/moving_history.txt --batch 29 $input/moving_table.txt
v6comp explain --update $input/moving_history.txt --batch 29 $input/moving_table.txt -f json
