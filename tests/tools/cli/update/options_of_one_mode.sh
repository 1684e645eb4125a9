# Each mode has options of its own.
for options in '--policy plain' '--safe-updates off' '--room off --move-limit 3' '--room maybe'; do
  v6comp update $tables/office_5.txt /dev/null $options > /dev/null
  echo "exit $?"
done
v6comp plan $tables/office_5.txt $tables/office_next.txt --policy plain > /dev/null
echo "exit $?"
