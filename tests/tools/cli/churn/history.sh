v6comp churn --batches 3 --size 4 --seed 2 $tables/dc_wikimedia_144.txt
