v6comp verify --pool-elements default $tables/dc_wikimedia_144.txt
