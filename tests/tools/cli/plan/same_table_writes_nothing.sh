v6comp plan $tables/office_5.txt $tables/office_5.txt --simulate
