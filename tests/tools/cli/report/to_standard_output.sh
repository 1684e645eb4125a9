v6comp report -q "$tables/office_5.txt" | grep -o '"prefixes":5,"anchors":[0-9]*,"bits_needed":[0-9]*,"deepest_code":[0-9]*'
