# The inner half of in_root, in separate mount and process namespaces: ROOT
# NUMBER [FOLDER:PLACE...] COMMAND ARGS...
root=$1 binds=$2
shift 2
mount --bind "$root" "$root"
mount -t proc proc "$root/proc"
mount --rbind /sys "$root/sys"
mount --make-rslave "$root/sys"
mount -t tmpfs -o mode=755 dev "$root/dev"
for device in null zero full random urandom tty; do
  touch "$root/dev/$device"
  mount --bind "/dev/$device" "$root/dev/$device"
done
ln -s /proc/self/fd "$root/dev/fd"
ln -s fd/0 "$root/dev/stdin"
ln -s fd/1 "$root/dev/stdout"
ln -s fd/2 "$root/dev/stderr"
mkdir -p "$root/dev/pts" "$root/dev/shm" "$root/dev/net"
mount -t devpts -o newinstance,ptmxmode=0666 devpts "$root/dev/pts"
ln -s pts/ptmx "$root/dev/ptmx"
mount -t tmpfs tmpfs "$root/dev/shm"
while [ "$binds" -gt 0 ]; do
  mkdir -p "$root${1#*:}"
  mount --bind "${1%%:*}" "$root${1#*:}"
  shift
  binds=$((binds - 1))
done
cd "$root"
pivot_root . mnt
cd /
umount -l /mnt
# No exec here: the first process of the namespace must adopt orphans.
status=0
env -i PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8 TERM="${TERM:-dumb}" \
  DEBIAN_FRONTEND=noninteractive "$@" || status=$?
exit "$status"
