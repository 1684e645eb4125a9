v6comp update --fields batch,adds,result --sort adds:down,batch $histories/dc_wikimedia.base.txt $histories/dc_wikimedia.updates.txt | head -n 4
v6comp update --summary --fields batch $histories/dc_wikimedia.base.txt $histories/dc_wikimedia.updates.txt
v6comp update --headroom --fields batch,adds $histories/dc_wikimedia.base.txt $histories/dc_wikimedia.updates.txt
