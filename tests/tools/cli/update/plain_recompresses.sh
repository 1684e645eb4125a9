v6comp update $histories/dc_wikimedia.base.txt $histories/dc_wikimedia.updates.txt --verify every --room off --policy plain -f csv | cut -d, -f1-9,11,13-16
