umask 027
v6comp compress $input/office.txt -o new.txt
echo before > old.txt
chmod 604 old.txt
v6comp compress $input/office.txt -o old.txt
stat -c '%a %n' new.txt old.txt
