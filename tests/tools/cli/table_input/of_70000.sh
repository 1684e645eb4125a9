# More than a request holds: the first 65534 by address, the rest as a batch. Nested prefixes, in a scattered order.
python3 - << 'PREFIXES' > table.txt
for i in range(70000):
    n = i * 48271 % 70001
    print(f'2001:{n // 512:x}:{n % 512:x}::/48' if n % 8 else f'2001:{n // 512:x}:{n % 512:x}::/44' if n % 16 == 0
          else f'2001:{n // 512:x}:{n % 512:x}:{n % 7:x}::/64')
PREFIXES
sort -u table.txt | wc -l
v6comp verify -q table.txt
v6comp lookup table.txt 2001:10:9::1 2001:88:170::9 2001:1:7::/48 2002::1 | cut -c 1-88
printf -- '-2001:1:7::/48\n+2001:1:7:7::/64\n---\n+2001:88:1ff::/48\n' > history.txt
v6comp update table.txt history.txt --verify every -q -f csv | cut -d, -f 1-9,11-12
v6comp compress --room off table.txt
echo "exit $?"
