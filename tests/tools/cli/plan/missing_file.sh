v6comp plan $tables/office_5.txt absent.txt
