v6comp compress --fields compressed_length_bits,prefix --sort compressed_length_bits:down $input/office.txt
v6comp compress --summary --sort prefix $input/office.txt
