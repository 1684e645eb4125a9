# 41 of 64 bits are 65 percent.
for limits in "--warn 70" "--warn 65" "--warn 60 --fail 66" "--warn 60 --fail 65" "--warn 0 --fail 0"; do
  v6comp fit $limits $input/tight.txt > out.txt
  code=$?
  echo "$limits: $code, $(head -1 out.txt)"
done
