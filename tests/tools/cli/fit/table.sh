v6comp fit $tables/dc_wikimedia_144.txt
