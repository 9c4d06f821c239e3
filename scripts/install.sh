# Installs packages from Debian; sourced by packages.sh, which lists them.

# Packages of packages.sh with services that Debian would start, for the system or
# at a user's next login. Nothing here needs these services. The tests start what
# they talk to.
with_services="avahi-daemon mako-notifier network-manager prometheus prometheus-node-exporter seatd waybar wpasupplicant"
service_policy=/usr/sbin/policy-rc.d  # Debian's packages ask it before they start a service

# install_packages PURPOSE...: installs the missing packages of these purposes.
# It first prints them, and on a terminal it asks, unless VORN_YES or CI is set.
install_packages() {
  local groups packages plan as_root=() has_lists=
  mapfile -t groups < <(missing "$@")
  [ ${#groups[@]} -gt 0 ] || return 0
  if ! command -v apt-get >/dev/null; then
    echo "This system has no apt. These are needed (names of Debian's packages): ${groups[*]}" >&2
    echo "README.md has the lines that build the programs with CMake alone." >&2
    return 0  # they may be installed under other names
  fi
  if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
      echo "You are not root and there is no sudo. Ask an administrator to install these, then try again: ${groups[*]}" >&2
      return 1
    fi
    as_root=(sudo)
  fi
  make_plan
  if ! grep -q 'newly installed' <<<"$plan"; then
    echo "Fetching the lists of Debian's packages, because there are none or they are too old." >&2
    apt_get update || return
    has_lists=1
    make_plan
  fi
  tell_plan
  if ! confirmed; then
    echo "Nothing was installed." >&2
    return 1
  fi
  [ "$has_lists" ] || apt_get update || return
  mapfile -t packages < <(available "${groups[@]}")
  install_with_services_stopped "${packages[@]}"
}

# make_plan: sets $packages to the packages for $groups, and $plan to what apt
# would do.
make_plan() {
  mapfile -t packages < <(available "${groups[@]}")
  plan=$(LC_ALL=C apt-get -o Debug::NoLocking=1 --assume-no --no-install-recommends install "${packages[@]}" 2>/dev/null) || true
}

# missing PURPOSE...: the groups without an installed package.
missing() {
  local purpose group
  for purpose in "$@"; do
    for group in $(packages_for "$purpose"); do
      is_installed ${group//|/ } || echo "$group"
    done
  done
}

# is_installed PACKAGE...: whether one of them is installed.
is_installed() {
  local package
  for package in "$@"; do
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" != installed ] || return 0
  done
  return 1
}

# available GROUP...: the first package of each group that this Debian has.
available() {
  local group package
  for group in "$@"; do
    package=$group
    if [[ $group == *"|"* ]]; then
      for package in ${group//|/ }; do
        if apt-cache show "$package" >/dev/null 2>&1; then break; fi
      done
    fi
    echo "$package"
  done
}

tell_plan() {
  local package services= new
  new=$(awk '/^[^ ]/ { is_new = /NEW packages/ } is_new' <<<"$plan")
  echo "Missing packages of Debian: ${packages[*]}" >&2
  grep -E 'newly installed|Need to get|additional disk space' <<<"$plan" >&2 || true
  for package in $with_services; do
    if grep -qE " $package( |$)" <<<"$new"; then services="$services $package"; fi
  done
  [ -z "$services" ] || echo "These contain services, which stay stopped and disabled:$services" >&2
}

# Somebody who has redirected the messages is asked too.
confirmed() {
  local answer
  if [ -n "${VORN_YES:-}${CI:-}" ] || [ ! -t 0 ]; then return 0; fi
  printf 'Install them? [Y/n] ' 2>/dev/null >/dev/tty || printf 'Install them? [Y/n] ' >&2
  read -r answer || return
  [[ ! $answer =~ ^[nN] ]]
}

# apt_get ARGS...: waits, with a message, while another program has the packages
# locked.
apt_get() {
  local said status=0
  said=$(mktemp)
  until "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive LC_ALL=C apt-get -q "$@" </dev/null 2>&1 | tee "$said" >&2 &&
    [ "${PIPESTATUS[0]}" -eq 0 ]; do
    if ! grep -q 'Could not get lock' "$said"; then
      status=1
      break
    fi
    echo "Another program is installing packages. Waiting for it." >&2
    sleep 5
  done
  rm "$said"
  return "$status"
}

# In a subshell. Its end removes the policy that keeps new services from starting.
install_with_services_stopped() (
  before=$(installed_packages)
  if [ ! -e "$service_policy" ]; then
    trap '"${as_root[@]}" rm -f "$service_policy"' EXIT
    printf '#!/bin/sh\n[ "$2" = restart ] || exit 101\n' | "${as_root[@]}" install -m 755 /dev/stdin "$service_policy"
  fi
  apt_get install -y --no-install-recommends "$@" || exit
  command -v systemctl >/dev/null || exit 0
  disable_units $(LC_ALL=C comm -13 <(echo "$before") <(installed_packages))
)

installed_packages() { dpkg-query -W -f '${Package} ${db:Status-Status}\n' | sed -n 's/ installed$//p' | LC_ALL=C sort; }

# disable_units PACKAGE...: what these start for the system, or at a login.
disable_units() {
  local kind units
  for kind in system user; do
    units=$(dpkg -L "$@" 2>/dev/null | sed -nE "s#.*/systemd/$kind/([^/]*\.(service|socket|timer|path))\$#\1#p") || true
    [ -n "$units" ] || continue
    [ "$kind" = system ] || units="--global $units"
    "${as_root[@]}" systemctl --quiet disable $units 2>/dev/null || true
  done
}
