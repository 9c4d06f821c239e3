#!/bin/sh
# Runs a command, as root or as another user, beside a real NetworkManager in
# separate network, mount and process namespaces. They have a private message
# bus and a pair vorn0/vorn1. vorn0 has the active profile "Studio: main".
set -eu
. "$(dirname "$0")/../../../support/need_programs.sh"
need_programs unshare=util-linux mount=mount ip=iproute2 dbus-daemon=dbus-daemon dbus-send=dbus-bin \
  NetworkManager=network-manager nmcli=network-manager

if [ "$1" != --inside ]; then
  set -- --net --mount --pid --fork --kill-child --mount-proc "$0" --inside "$@"
  [ "$(id -u)" = 0 ] || set -- --user --map-root-user "$@"
  exec unshare "$@"
fi
shift

# NetworkManager takes a read-only /sys for a container without udev.
mount -t sysfs -o ro sysfs /sys
mount -t tmpfs tmpfs /run
mkdir -p /var/lib/NetworkManager /run/NetworkManager/system-connections
mount -t tmpfs tmpfs /var/lib/NetworkManager

cat >/run/NetworkManager/system-connections/studio.nmconnection <<'PROFILE'
[connection]
id=Studio: main
uuid=6f3c0f7e-1111-4222-8333-444455556666
type=ethernet
interface-name=vorn0
[ipv4]
method=manual
address1=10.9.9.1/24
[ipv6]
method=disabled
PROFILE
chmod 600 /run/NetworkManager/system-connections/studio.nmconnection
cat >/run/network-manager.conf <<'CONFIGURATION'
[main]
plugins=keyfile
auth-polkit=false
dns=none
no-auto-default=*
CONFIGURATION
cat >/run/bus.conf <<'CONFIGURATION'
<busconfig>
  <listen>unix:path=/run/bus</listen>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
CONFIGURATION
mkdir /run/empty

ip link set lo up
ip link add vorn0 type veth peer name vorn1
ip link set vorn1 up
dbus-daemon --config-file=/run/bus.conf --nofork &
bus=$!
export DBUS_SYSTEM_BUS_ADDRESS=unix:path=/run/bus
wait_for_program dbus-daemon "$bus" dbus-send --system --dest=org.freedesktop.DBus / org.freedesktop.DBus.Peer.Ping
NetworkManager --no-daemon --config=/run/network-manager.conf --config-dir=/run/empty --log-level=ERR &
wait_for_program NetworkManager "$!" nmcli -t connection up "Studio: main"
"$@"
