v6comp update $tables/office_5.txt - --verify every -f csv -q <<< $'---\n---' | cut -d, -f1-9,11
