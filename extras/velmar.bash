# Completion of velmar in bash: its commands, their options and the values that those name, as --help shows them.

_velmar() {
  local command=${COMP_WORDS[1]} word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} words
  if [ "$COMP_CWORD" = 1 ]; then
    words=$("$1" --help 2>/dev/null | awk '/^Subcommands:/ { inside = 1; next } /^$/ { inside = 0 } inside { print $1 }')
  elif [[ $word == -* ]]; then
    words=$("$1" "$command" --help 2>/dev/null | grep -oE '^  (-.,)?--[a-z-]+' | grep -oE -- '--[a-z-]+')
  elif [ "$command" = send ] && [ "$COMP_CWORD" = 3 ]; then
    # "A simulated server takes: help, rate HZ, status."; what belongs to a command is in capitals.
    words=$("$1" send --help 2>/dev/null | sed -n 's/.* takes: \(.*\)\.$/\1/p' | grep -oE '[a-z]+')
  else
    # "--format {csv,json}"; without such a list, the names of files.
    words=$("$1" "$command" --help 2>/dev/null |
      sed -nE "s/^  (-.,)?$previous \{([^}]*)\}.*/\2/p" | tr , ' ')
  fi
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}
complete -o default -F _velmar velmar
