v6comp compress --summary $tables/dc_wikimedia_144.txt | sed 's/^time .* ms$/time                N ms/'
