v6comp update $histories/dc_wikimedia.base.txt $histories/dc_wikimedia.updates.txt --room off --policy plain --on-refusal skip --verify every -s | grep -v ^time; exit ${PIPESTATUS[0]}
