# bash completion for cuctl                                -*- shell-script -*-
# Written by make-completion.sh from the help; do not edit.

# "COMMAND>" lists what may follow the command, "COMMAND" its options.
declare -gA _cuctl_words=(
  ["cuctl>"]="log store msgq conf json rpn shm gpio action topo filedict crc32 crc8"
  ["cuctl"]="-h --help --version --json --utc --raw"
  ["log>"]="cat follow info"
  ["log"]="-h --help"
  ["log cat"]="-h --help -n --lines --since --until -p --priority --pid -g --grep"
  ["log follow"]="-h --help --for --cursor --to --every -p --priority --pid -g --grep"
  ["log info"]="-h --help --size"
  ["store>"]="verify list get dump load restore"
  ["store"]="-h --help"
  ["store verify"]="-h --help --backup"
  ["store list"]="-h --help --all"
  ["store get"]="-h --help --hex"
  ["store dump"]="-h --help"
  ["store load"]="-h --help"
  ["store restore"]="-h --help --force"
  ["msgq>"]="dump"
  ["msgq"]="-h --help"
  ["msgq dump"]="-h --help"
  ["conf>"]="list get check render"
  ["conf"]="-h --help"
  ["conf list"]="-h --help"
  ["conf get"]="-h --help --as"
  ["conf check"]="-h --help"
  ["conf render"]="-h --help"
  ["json>"]="check get tree"
  ["json"]="-h --help"
  ["json check"]="-h --help"
  ["json get"]="-h --help"
  ["json tree"]="-h --help"
  ["rpn>"]="eval"
  ["rpn"]="-h --help"
  ["rpn eval"]="-h --help --trace --type"
  ["shm>"]="info read watch unlock"
  ["shm"]="-h --help"
  ["shm info"]="-h --help"
  ["shm read"]="-h --help"
  ["shm watch"]="-h --help --for"
  ["shm unlock"]="-h --help --yes"
  ["gpio>"]="get set watch"
  ["gpio"]="-h --help"
  ["gpio get"]="-h --help"
  ["gpio set"]="-h --help"
  ["gpio watch"]="-h --help"
  ["action>"]="check"
  ["action"]="-h --help"
  ["action check"]="-h --help"
  ["topo>"]="show"
  ["topo"]="-h --help"
  ["topo show"]="-h --help --dot"
  ["filedict>"]="show"
  ["filedict"]="-h --help"
  ["filedict show"]="-h --help --dot"
  ["crc32"]="-h --help"
  ["crc8"]="-h --help"
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
