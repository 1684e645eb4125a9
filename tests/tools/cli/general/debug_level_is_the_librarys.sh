# The tool is silent by itself; level 7 shows the library at work; 3 shows its errors only.
v6comp verify --debug-level 7 $input/office.txt 2>&1 > verdict | grep -c -m 1 'tcamv6_optimized_compress: Complete 0'
v6comp compress --room off --debug-level 3 --pool-elements 20 $input/office.txt 2>&1 | grep -o 'optimized_compress() failed -12'
