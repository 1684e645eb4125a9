mkdir directory
v6comp compress directory
