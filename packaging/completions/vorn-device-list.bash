# Completion of vorn-device-list for bash.

_vorn_device_list() {
  local current=${COMP_WORDS[COMP_CWORD]} option=${COMP_WORDS[COMP_CWORD - 1]}
  # bash takes "--format=csv" for three words.
  if [[ $current == = ]]; then
    current=
  elif [[ $option == = && $COMP_CWORD -ge 2 ]]; then
    option=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  COMPREPLY=()
  case $option in
    --format) mapfile -t COMPREPLY < <(compgen -W 'table json csv openmetrics' -- "$current") ;;
    --output) compopt -o default ;;
    --wait) ;;
    *)
      mapfile -t COMPREPLY < <(compgen -W '--wait --watch --format --json --output --no-switches --offline
        --interfaces -h --help -V --version' -- "$current")
      ;;
  esac
}

complete -F _vorn_device_list vorn-device-list
