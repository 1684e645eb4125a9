# Every write of every batch, of both stages, in the order to follow.
v6comp plan $tables/office_5.txt --steps --simulate - << 'HISTORY'
-2001:db8:2:3::/64
+2001:db8:1:7::/64
---
---
+2001:db8:1:7::/64
+2001:db8:1:8::/64
HISTORY
v6comp plan $tables/office_5.txt --steps -f csv -q - <<< '+2001:db8:1:7::/64'
