v6comp list --fields weight,prefix --sort weight:down,prefix $input/office.txt
v6comp list --format json --fields prefix --sort prefix:down $input/office.txt
v6comp list --fields wieght $input/office.txt
v6comp list --sort length $input/office.txt
