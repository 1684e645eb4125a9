v6comp fit --warn 91 $input/tight.txt
