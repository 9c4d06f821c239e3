# A fresh Debian 12 in a folder of its own, to try things as on a new machine.
# Sourced; needs root. Sets up $root, which goes when the shell does.

root=$(mktemp -d /var/tmp/vorn-fresh-XXXXXX)

leave_root() {
  if mountpoint -q "$root"; then umount -R -l "$root"; fi
  rm -rf --one-file-system "$root"
}
trap leave_root EXIT
chmod 755 "$root"  # programs in it run as other users too

make_root() {
  if [ "$(id -u)" -ne 0 ]; then
    echo "A fresh system can be made by root only." >&2
    return 77
  fi
  local mirror
  mirror=$(apt-get indextargets --format '$(SITE)' 'Created-By: Packages' 'Codename: bookworm' | grep '/debian$' | head -n 1)
  echo "A fresh Debian 12 in $root" >&2
  debootstrap --variant=minbase bookworm "$root" ${mirror:+"$mirror"} >"$root.log" 2>&1 || {
    tail "$root.log" >&2
    return 1
  }
  rm -f "$root.log"
  # A root that is a mount of its own: without, no mount namespace can be made inside.
  mount --bind "$root" "$root"
  cp /etc/resolv.conf "$root/etc/resolv.conf"
  cp /etc/hosts "$root/etc/hosts"
  if [ -f /etc/apt/sources.list.d/debian.sources ]; then
    rm -f "$root/etc/apt/sources.list"
    cp /etc/apt/sources.list.d/debian.sources "$root/etc/apt/sources.list.d/"
  fi
  mount -t proc proc "$root/proc"
  mount --rbind /sys "$root/sys"
  mount --make-rslave "$root/sys"
  mount -t tmpfs -o mode=755 dev "$root/dev"
  local device
  for device in null zero full random urandom tty; do
    touch "$root/dev/$device"
    mount --bind "/dev/$device" "$root/dev/$device"
  done
  ln -s /proc/self/fd "$root/dev/fd"
  mkdir -p "$root/dev/pts" "$root/dev/shm" "$root/dev/net"
  mount -t devpts -o newinstance,ptmxmode=0666 devpts "$root/dev/pts"
  ln -s pts/ptmx "$root/dev/ptmx"
  mount -t tmpfs tmpfs "$root/dev/shm"
  in_root apt-get update -q >/dev/null
}

# in_root COMMAND ARGS...: runs it in the fresh system, without our own
# environment. The folder becomes the root of a mount namespace: in a mere
# chroot, whoever enters a namespace from inside finds himself outside.
in_root() {
  unshare --mount --propagation private bash -c '
    cd "$1" && shift && pivot_root . mnt && cd / && umount -l /mnt &&
      exec env -i PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8 \
        DEBIAN_FRONTEND=noninteractive "$@"' in_root "$root" "$@"
}
