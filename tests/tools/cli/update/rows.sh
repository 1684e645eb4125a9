v6comp update $histories/dc_wikimedia.base.txt $histories/dc_wikimedia.updates.txt --verify every -f csv -q | cut -d, -f1-9,11
