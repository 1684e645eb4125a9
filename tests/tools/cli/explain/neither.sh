v6comp explain $tables/office_5.txt
