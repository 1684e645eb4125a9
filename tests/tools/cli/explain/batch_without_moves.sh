v6comp explain --update $histories/dc_wikimedia.updates.txt --batch 3 $histories/dc_wikimedia.base.txt
