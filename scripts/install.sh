# Installs packages from Debian; sourced by packages.sh, which lists them.

# Packages whose services Debian would start and enable. Nothing here needs
# these services. The tests start what they talk to.
with_services="avahi-daemon network-manager wpasupplicant"
service_policy=/usr/sbin/policy-rc.d  # Debian's packages ask it before they start a service

# install_packages PURPOSE...: installs the missing packages of these purposes
# and prints them. On a terminal it asks first, unless VORN_YES or CI is set.
install_packages() {
  local groups packages as_root=()
  mapfile -t groups < <(missing "$@")
  [ ${#groups[@]} -gt 0 ] || return 0
  if ! command -v apt-get >/dev/null; then
    echo "This system has no apt. These are needed (names of Debian's packages): ${groups[*]}" >&2
    return 0  # they may be installed under other names
  fi
  if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
      echo "You are not root and there is no sudo. Ask an administrator to install these, then try again: ${groups[*]}" >&2
      return 1
    fi
    as_root=(sudo)
  fi
  mapfile -t packages < <(available "${groups[@]}")
  tell_what_is_installed "${packages[@]}"
  if ! confirmed; then
    echo "Nothing was installed." >&2
    return 1
  fi
  apt_get update || return
  mapfile -t packages < <(available "${groups[@]}")
  install_with_services_stopped "${packages[@]}"
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

tell_what_is_installed() {
  local plan package services=
  echo "Installing from Debian: $*" >&2
  # A bare system has no package lists, so there is nothing more to print yet.
  plan=$(LC_ALL=C apt-get -o Debug::NoLocking=1 --assume-no --no-install-recommends install "$@" 2>/dev/null) || true
  grep -E 'newly installed|Need to get|additional disk space' <<<"$plan" >&2 || true
  for package in $with_services; do
    if grep -q "^ .*\b$package\b" <<<"$plan" && ! is_installed "$package"; then services="$services $package"; fi
  done
  [ -z "$services" ] || echo "These contain services, which stay stopped and disabled:$services" >&2
}

confirmed() {
  local answer
  if [ -n "${VORN_YES:-}${CI:-}" ] || [ ! -t 0 ] || [ ! -t 2 ]; then return 0; fi
  read -r -p "Install them? [Y/n] " answer
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

# In a subshell. Its end removes the policy that keeps services from starting.
install_with_services_stopped() (
  new=
  for package in $with_services; do
    is_installed "$package" || new="$new $package"
  done
  if [ -n "$new" ] && [ ! -e "$service_policy" ]; then
    trap '"${as_root[@]}" rm -f "$service_policy"' EXIT
    printf '#!/bin/sh\nexit 101\n' | "${as_root[@]}" install -m 755 /dev/stdin "$service_policy"
  fi
  apt_get install -y --no-install-recommends "$@" || exit
  command -v systemctl >/dev/null || exit 0
  for package in $new; do
    units=$(dpkg -L "$package" 2>/dev/null | sed -n 's#.*/systemd/system/\([^/]*\.\(service\|socket\)\)$#\1#p') || continue
    [ -z "$units" ] || "${as_root[@]}" systemctl --quiet disable $units 2>/dev/null || true
  done
)
