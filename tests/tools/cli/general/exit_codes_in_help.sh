for command in compress lookup verify dump dot update plan; do
  v6comp $command --help | grep -A2 Exit:
done
