v6comp compress --pool-elements 200 $tables/dc_wikimedia_144.txt
