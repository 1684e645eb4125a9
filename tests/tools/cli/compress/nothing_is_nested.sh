# 70 prefixes, none inside another, that leave one path bit by bit: deeper than the limits that updates need.
python3 - << 'PREFIXES' > deep.txt
import ipaddress
path = 0x20010DB8123456789ABCDEF013579BDF
for length in range(20, 90):
    leaves = (path >> (128 - length)) ^ 1
    print(ipaddress.IPv6Network((leaves << (128 - length), length)))
print('fd00::/8')
PREFIXES
v6comp compress --room off deep.txt
