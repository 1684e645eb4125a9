v6comp explain --format csv $tables/dc_wikimedia_144.txt 2620:0:860:11c::77
