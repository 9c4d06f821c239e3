#!/bin/sh
# Runs a command in a separate network namespace, as root or as another user. It
# has a pair vorn0/vorn1 and, if the kernel has them, more links without
# hardware. VORN_TEST_LINKS names all of them.
set -eu
. "$(dirname "$0")/../../../support/need_programs.sh"
need_programs unshare=util-linux mount=mount ip=iproute2

if [ "$1" != --inside ]; then
  if [ "$(id -u)" = 0 ]; then
    exec unshare --net --mount "$0" --inside "$@"
  fi
  exec unshare --user --map-root-user --net --mount "$0" --inside "$@"
fi
shift

mount -t sysfs sysfs /sys
ip link add vorn0 type veth peer name vorn1
VORN_TEST_LINKS="vorn0 vorn1"
for kind in dummy bridge ifb; do
  if ip link add "vorn-$kind" type "$kind" 2>/dev/null; then
    VORN_TEST_LINKS="$VORN_TEST_LINKS vorn-$kind"
  fi
done
export VORN_TEST_LINKS
exec "$@"
