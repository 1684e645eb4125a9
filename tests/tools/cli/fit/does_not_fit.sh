# 70 prefixes, each inside the one before.
v6comp fit $input/levels_70.txt
