v6comp explain $tables/office_5.txt 2001:db8:2:3::/64
