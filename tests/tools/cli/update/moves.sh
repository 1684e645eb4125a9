# One of these additions needs three stored prefixes out of its way. With a smaller limit the batch is refused: what
# follows is a recompression, or nothing.
python3 - << 'HISTORY'
import ipaddress
import random
choice = random.Random(56)
prefixes = set()
while len(prefixes) < 40:
    length = choice.choice([33, 34, 35, 36, 37, 38, 40, 44])
    address = (0x20010db8 << 96 | choice.getrandbits(12) << 84) >> (128 - length) << (128 - length)
    prefixes.add((address, length))
prefixes = sorted(prefixes)
choice.shuffle(prefixes)
text = [str(ipaddress.IPv6Network(p)) for p in prefixes]
open('table.txt', 'w').write('\n'.join(['2001:db8::/32'] + text[:8]) + '\n')
open('history.txt', 'w').write('\n---\n'.join('+' + p for p in text[8:]) + '\n')
HISTORY
run() {
  v6comp update table.txt history.txt --verify every -q -f csv "$@" | cut -d, -f 1,6,7,9,11-16 | sed -n '1p; 30,31p'
  echo "exit ${PIPESTATUS[0]}"
}
run
run --move-limit 3
run --move-limit 2
run --move-limit 0 --on-refusal skip
v6comp update table.txt history.txt -s | grep -E '^(accepted|moved|changed)'
v6comp update table.txt history.txt -s -f json -q | grep -E '"(room|policy|moved|changed_by_batches)"'
