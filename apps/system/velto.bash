# Completion of velto for bash. It asks the program itself, so that it knows every command and every
# option of the version that is installed.

_velto() {
  local program=$1 word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  local help commands options command=() i

  # The commands in front: velto model export …
  for ((i = 1; ; i++)); do
    help=$("$program" "${command[@]}" --help 2>/dev/null)
    commands=$(sed -n '/^Commands:/,/^$/s/^  \([a-z][a-z0-9-]*\).*/\1/p' <<<"$help")
    [[ $i -lt $COMP_CWORD && -n $commands ]] || break
    grep -qx -- "${COMP_WORDS[i]}" <<<"$commands" || return
    command+=("${COMP_WORDS[i]}")
  done

  # What an option takes is a file by most.
  options=$(sed -n '/^Options:/,/^$/s/^  \(-[^ ]*\).*/\1/p' <<<"$help" | tr ',' '\n')
  if [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
  elif [[ -n $commands ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$word")
  elif grep -qE -- "^  $previous (N|SECONDS)\b" <<<"$help"; then
    return # a number
  elif [[ ${command[0]-} == describe ]]; then
    mapfile -t COMPREPLY < <(compgen -W "messages gem $(sed -n '/^Controls:/,$p' <<<"$help" |
      grep -o 'Velto[A-Za-z]*')" -- "$word")
  else
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
  fi
}
complete -F _velto velto
