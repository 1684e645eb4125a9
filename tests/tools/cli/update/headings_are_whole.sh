v6comp update $histories/dc_wikimedia.base.txt $histories/dc_wikimedia.updates.txt | sed -n 1p
v6comp update $histories/dc_wikimedia.base.txt $histories/dc_wikimedia.updates.txt --headroom --room off --policy plain | sed -n 1p
