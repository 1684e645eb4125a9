v6comp churn --batches 10 --size 20 --additions 0 $tables/office_5.txt
