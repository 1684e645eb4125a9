v6comp explain $histories/dc_wikimedia.base.txt --update $histories/dc_wikimedia.updates.txt 3
for batch in 0 3x 99999999999999999999 2001:db8::/32; do
  v6comp explain $histories/dc_wikimedia.base.txt --update $histories/dc_wikimedia.updates.txt $batch; echo "exit $?"
done
v6comp explain $histories/dc_wikimedia.base.txt --update $histories/dc_wikimedia.updates.txt 3 --batch 3; echo "exit $?"
