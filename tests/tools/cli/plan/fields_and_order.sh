# Of plans too, people and programs pick what they want to see.
v6comp plan $tables/office_5.txt $tables/office_next.txt --fields step,kind,prefix -q | head -n 3
v6comp plan $tables/office_5.txt $tables/office_next.txt --fields kind,slot --sort slot:down,kind -f csv -q | head -n 4
v6comp plan $histories/dc_wikimedia.base.txt $histories/dc_wikimedia.updates.txt --fields batch,inserts -f csv -q | head -n 3
v6comp plan $histories/dc_wikimedia.base.txt $histories/dc_wikimedia.updates.txt --sort nothing; echo "exit $?"
