# Debian systems in separate folders, to try things as on a new machine.
# Sourced; needs root and debootstrap. A suite is "bookworm" (Debian 12) or
# "trixie" (Debian 13). Downloads stay in $VORN_FRESH_CACHE for two weeks if the
# machine keeps that folder. Otherwise they are fetched again.

fresh_cache=${VORN_FRESH_CACHE:-/var/cache/vorn-fresh}
fresh_folder=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=                   # the system that in_root enters
root_binds=()           # FOLDER:PLACE..., folders that in_root shows inside
guest_home=/home/guest  # home of the user that as_guest becomes

# temporary_root SUITE: sets $root to a bare system, which is deleted when the
# shell ends.
temporary_root() {
  root=$(mktemp -d /var/tmp/vorn-fresh-XXXXXX)
  trap 'rm -rf --one-file-system "$root"' EXIT
  unpack_system "$1" "$root"
}

# kept_root SUITE: sets $root to a system that keeps what is installed in it.
kept_root() {
  root=$fresh_cache/$1
  mkdir -p "$fresh_cache"
  (
    flock 9
    if [ -n "$(find "$root/made" -mtime -14 2>/dev/null)" ]; then exit 0; fi
    rm -rf --one-file-system "$root"
    unpack_system "$1" "$root"
    touch "$root/made"
  ) 9>"$fresh_cache/lock"
  cp /etc/resolv.conf /etc/hosts "$root/etc/"
}

# in_root COMMAND ARGS...: runs the command in the system, without our own
# environment. The folder becomes the root of a mount namespace. A chroot is not
# enough: a process that enters a namespace from inside it would be outside. All
# mounts and all processes end with the command.
in_root() {
  unshare --mount --propagation private --pid --fork --kill-child \
    bash -e "$fresh_folder/enter_root.sh" "$root" ${#root_binds[@]} "${root_binds[@]}" "$@"
}

# make_guest: gives the system an ordinary user who may use sudo, and a compiler cache.
make_guest() {
  if in_root test -d "$guest_home"; then return; fi
  in_root apt-get install -q -y --no-install-recommends sudo ccache >/dev/null
  echo "guest ALL=(ALL) NOPASSWD: ALL" >"$root/etc/sudoers.d/guest"
  # ./test can use what ./run compiled, although it builds in another folder and
  # with warnings as errors.
  printf '%s\n' "base_dir = $guest_home/src" "hash_dir = false" "ignore_options = -Werror" >"$root/etc/ccache.conf"
  in_root useradd --create-home --shell /bin/bash guest
}

# clone_for_guest FOLDER: clones the repository of the current folder into a
# folder of that user.
clone_for_guest() {
  rm -rf "${root:?}$guest_home/$1"
  git clone -q --no-hardlinks . "$root$guest_home/$1"
  in_root chown -R guest: "$guest_home/$1"
}

# as_guest COMMAND_LINE: runs it as after a login of that user, without standard
# input.
as_guest() {
  in_root runuser --login guest --command "$1" </dev/null
}

# unpack_system SUITE FOLDER: a bare Debian with the package lists of today.
unpack_system() {
  local suite=$1 folder=$2 archive=$fresh_cache/$1.tar mirror
  if [ "$(id -u)" -ne 0 ]; then
    echo "A fresh system can be made by root only." >&2
    return 77
  fi
  mirror=$(site_ending debian http://deb.debian.org/debian)
  mkdir -p "$fresh_cache" "$folder"
  chmod 755 "$folder"  # other users run programs in it too
  find "$fresh_cache" -maxdepth 1 -name "$suite.tar" -mtime +14 -delete
  if [ -f "$archive" ]; then
    tar -x -p --numeric-owner -f "$archive" -C "$folder"
  else
    bootstrap "$suite" "$folder" "$mirror"
    tar -c --numeric-owner -f "$archive.$$" -C "$folder" .
    mv "$archive.$$" "$archive"
  fi
  write_sources "$suite" "$folder" "$mirror"
  cp /etc/resolv.conf /etc/hosts "$folder/etc/"
  root=$folder in_root apt-get update -q >/dev/null
}

bootstrap() {
  local suite=$1 folder=$2 mirror=$3 log
  echo "Fetching a bare $suite from $mirror" >&2
  log=$(mktemp)
  if ! debootstrap --variant=minbase --include=ca-certificates "$suite" "$folder" "$mirror" >"$log" 2>&1; then
    tail "$log" >&2
    rm "$log"
    return 1
  fi
  rm "$log"
}

write_sources() {
  local suite=$1 folder=$2 mirror=$3 security
  security=$(site_ending debian-security http://security.debian.org/debian-security)
  cat >"$folder/etc/apt/sources.list" <<SOURCES
deb $mirror $suite main
deb $mirror $suite-updates main
deb $security $suite-security main
SOURCES
}

# site_ending END DEFAULT: the site where this machine fetches packages.
site_ending() {
  local site
  site=$(apt-get indextargets --format '$(SITE)' 'Created-By: Packages' 2>/dev/null | grep -m 1 "/$1\$") || true
  echo "${site:-$2}"
}
