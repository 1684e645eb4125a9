v6comp update $histories/dc_wikimedia.base.txt $histories/dc_wikimedia.updates.txt --room off --policy plain --on-refusal stop -s -f csv -q | grep -v _us; exit ${PIPESTATUS[0]}
