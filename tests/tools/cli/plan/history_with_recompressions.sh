v6comp plan $histories/host128_vpn.base.txt $histories/host128_vpn.updates.txt --room off --policy plain --simulate | tail -n 2
