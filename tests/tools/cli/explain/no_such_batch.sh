v6comp explain --update $histories/dc_wikimedia.updates.txt --batch 99999 $histories/dc_wikimedia.base.txt
