# Sourced by scripts that prepare a test. It also finds programs for
# administrators: Debian keeps /usr/sbin off the search path of ordinary users.
PATH=$PATH:/usr/local/sbin:/usr/sbin:/sbin
export PATH

# need_programs PROGRAM=PACKAGE...: ends the script if one is missing, and names
# all that are missing.
need_programs() {
  missing=
  for pair in "$@"; do
    command -v "${pair%%=*}" >/dev/null || missing="$missing ${pair%%=*} (Debian package ${pair#*=})"
  done
  [ -z "$missing" ] && return
  echo "${0##*/}: missing:$missing" >&2
  exit 1
}

# wait_for_program NAME NUMBER COMMAND...: waits until the command succeeds. It
# ends the script if the process NUMBER, which should make it succeed, ends
# first.
wait_for_program() {
  waited_for=$1 number=$2
  shift 2
  until "$@" >/dev/null 2>&1; do
    if ! kill -0 "$number" 2>/dev/null; then
      echo "${0##*/}: $waited_for ended before it was ready" >&2
      exit 1
    fi
    sleep 0.1
  done
}
