ZEL_V6COMP_DBG_TRACE=1 ZEL_V6COMP_DBG_INFO=1 ZEL_V6COMP_DBG_RESULT=1 v6comp compress $input/office.txt 2>&1 > /dev/null |
  sed -n '1,5s/0x[0-9a-f]*/PTR/gp; 1,3p'
