# bash completion for parlen-mac-vm.
# Generated from the program's table of subcommands by scripts/generate-completions.

_parlen_mac_vm_paths() {
  local IFS=$'\n'
  compopt -o filenames 2>/dev/null
  COMPREPLY=($(compgen "$1" -- "${COMP_WORDS[COMP_CWORD]}"))
}

_parlen_mac_vm() {
  local word=${COMP_WORDS[COMP_CWORD]} options=
  COMPREPLY=()
  if [[ $COMP_CWORD -eq 1 ]]; then
    COMPREPLY=($(compgen -W 'create run clone status' -- "$word"))
    return
  fi
  case ${COMP_WORDS[1]}:${COMP_WORDS[COMP_CWORD-1]} in
    create:--ipsw) _parlen_mac_vm_paths -f; return ;;
    create:--bundle) _parlen_mac_vm_paths -d; return ;;
    create:--disk-gb) return ;;
    run:--bundle) _parlen_mac_vm_paths -d; return ;;
    run:--share) _parlen_mac_vm_paths -d; return ;;
    run:--logs-share) _parlen_mac_vm_paths -d; return ;;
    clone:--from) _parlen_mac_vm_paths -d; return ;;
    clone:--to) _parlen_mac_vm_paths -d; return ;;
    status:--bundle) _parlen_mac_vm_paths -d; return ;;
  esac
  case ${COMP_WORDS[1]} in
    create) options='--ipsw --bundle --disk-gb' ;;
    run) options='--bundle --gui --share --logs-share' ;;
    clone) options='--from --to --regenerate-machine-id' ;;
    status) options='--bundle' ;;
  esac
  COMPREPLY=($(compgen -W "$options" -- "$word"))
}

complete -F _parlen_mac_vm parlen-mac-vm
