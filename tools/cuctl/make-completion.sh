#!/usr/bin/env bash
# make-completion.sh CUCTL: writes cuctl's completion for bash from the command table that its help
# shows. The result is kept as cuctl.bash, so that a cross build needs no emulator for it; a test
# compares the two.
set -euo pipefail
cuctl=$1

# words COMMAND...: of its help, the subcommands on one line and the options on another.
words() {
  "$cuctl" "$@" --help | awk '
    /^[A-Z][a-z]*:$/ { section = $1; next }
    /^  [^ ]/ && section == "Subcommands:" { commands = commands " " $1 }
    /^  -/ && section == "Options:" { gsub(",", " ", $1); options = options " " $1 }
    END { print substr(commands, 2); print substr(options, 2) }'
}

# row COMMAND...: the table rows of a command and of those below it.
row() {
  local found name
  mapfile -t found < <(words "$@")
  [[ -z ${found[0]} ]] || printf '  ["%s>"]="%s"\n' "$*" "${found[0]}"
  printf '  ["%s"]="%s"\n' "$*" "${found[1]}"
  for name in ${found[0]}; do row "$@" "$name"; done
}

cat <<'EOT'
# bash completion for cuctl                                -*- shell-script -*-
# Written by make-completion.sh from the help; do not edit.

# "COMMAND>" lists what may follow the command, "COMMAND" its options.
declare -gA _cuctl_words=(
EOT
# The top has an empty name, which is no subscript.
row | sed 's/^  \[">"\]/  ["cuctl>"]/; s/^  \[""\]/  ["cuctl"]/'
cat <<'EOT'
)

_cuctl() {
  local cur prev words cword
  _init_completion || return

  local command=cuctl index
  for ((index = 1; index < cword; ++index)); do
    if [[ " ${_cuctl_words["$command>"]-} " == *" ${words[index]} "* ]]; then
      command="${command#cuctl} ${words[index]}"
      command=${command# }
    fi
  done

  case $prev in
    -p | --priority)
      COMPREPLY=($(compgen -W "EMERGENCY ALERT CRITICAL ERROR WARNING NOTICE INFO DEBUG TRACE TRACEDEBUG" -- "$cur"))
      return
      ;;
    --as)
      COMPREPLY=($(compgen -W "string integer float long boolean uint8 uint16 uint64 blob" -- "$cur"))
      return
      ;;
    -n | --lines | --since | --until | --pid | -g | --grep | --for | --to | --every | --size | --type)
      return
      ;;
  esac

  if [[ $cur == -* ]]; then
    local options=${_cuctl_words["$command"]}
    [[ $command == cuctl ]] || options+=" ${_cuctl_words[cuctl]}"
    COMPREPLY=($(compgen -W "$options" -- "$cur"))
  elif [[ -n ${_cuctl_words["$command>"]-} ]]; then
    COMPREPLY=($(compgen -W "${_cuctl_words["$command>"]}" -- "$cur"))
  elif [[ $command == shm\ * && $prev == "${command#* }" ]]; then
    COMPREPLY=($(cd /dev/shm 2>/dev/null && compgen -f -X 'sem.*' -- "${cur#/}"))
  elif [[ $command == shm\ * ]]; then
    COMPREPLY=($(cd /dev/shm 2>/dev/null && compgen -f -- "sem.$cur" | sed 's/^sem\.//'))
  elif [[ $command != gpio\ * && $command != rpn\ * ]]; then
    _filedir
  fi
} && complete -F _cuctl cuctl
EOT
