v6comp compress no-such-table.txt
