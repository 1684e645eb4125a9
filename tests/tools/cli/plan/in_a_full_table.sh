# Two rows (::/0 is one) in two slots: the old prefix has to go before the new one can come.
echo '2001:db8::/32' > old.txt
echo '2001:db9::/32' > new.txt
v6comp plan old.txt new.txt --slots 2 --simulate
