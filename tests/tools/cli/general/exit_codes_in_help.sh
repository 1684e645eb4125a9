for command in compress lookup verify dump dot update plan; do
  v6comp $command --help | sed -n '/^Exit:/,$p'
done
