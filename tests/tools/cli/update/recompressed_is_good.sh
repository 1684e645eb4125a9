v6comp update $histories/dc_wikimedia.base.txt $histories/dc_wikimedia.updates.txt --room off --policy plain | tail -n 1
echo "exit $?"
v6comp update --help | grep -A1 "A batch that is"
