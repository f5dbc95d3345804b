#!/usr/bin/env bash
# What extras/velmar.bash offers for a line, as bash asks it. Usage: check-completion.sh VELMAR
set -u
cd "$(dirname "$0")" || exit
source ../../extras/velmar.bash
velmar=$1
failed=0

expect() { # expect OFFERED WORD...: the last word is the one to be completed
  local offered=$1
  shift
  COMP_WORDS=(velmar "$@") COMP_CWORD=$# COMPREPLY=()
  _velmar "$velmar"
  [ "${COMPREPLY[*]}" = "$offered" ] && return
  echo "velmar $*: offers '${COMPREPLY[*]}', not '$offered'"
  failed=1
}

view=
if "$velmar" view --help >/dev/null 2>&1; then view="view "; fi
expect "simulate watch ${view}info send record replay cut export doctor" ""
expect "record replay" re
expect "--seconds" watch --frames 3 --s
expect "--json" doctor 127.0.0.1 --j
expect "--output" export -o --o
expect "csv json c3d opensim bvh" export walk.pcap --format ""
expect "six" simulate --force-plates s
expect "" simulate --rate ""
expect "help rate pause resume status" send 127.0.0.1 ""
expect "resume" send 127.0.0.1 re
expect "" send 127.0.0.1 rate ""
expect "" send ""
expect "" simulate --frame-log ""
expect "" nonsense --f
exit "$failed"
