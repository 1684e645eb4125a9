{
  v6comp compres t
  v6comp lookpu t
  v6comp help lokup
  v6comp squeeze t
  v6comp
  v6comp compress --fromat json t
  v6comp compress --formta=json t
  v6comp compress -f jsno t
  v6comp update --on-refusal recompres t h
  v6comp list --input ip_json t
  v6comp plan --slots
  v6comp plan --slots=x t u
  v6comp verify one two
  v6comp --versoin
} 2>&1 | sed 's/there are list,.*, help/there are COMMANDS/'
test "${PIPESTATUS[0]}" = 2
