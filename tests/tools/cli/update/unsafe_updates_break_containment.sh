v6comp update $histories/dc_wikimedia.base.txt $histories/dc_wikimedia.updates.txt --room off --policy plain --safe-updates off --verify every | tail -n 2; exit ${PIPESTATUS[0]}
