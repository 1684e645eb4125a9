v6comp plan $histories/dc_wikimedia.base.txt $histories/dc_wikimedia.updates.txt --simulate | tail -n 3
