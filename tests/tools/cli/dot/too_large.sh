v6comp dot $tables/bgp_2401_5270.txt | wc -c
exit ${PIPESTATUS[0]}
