v6comp 2> said
code=$?
grep -oE 'a command is missing; there are list, ' said
exit $code
