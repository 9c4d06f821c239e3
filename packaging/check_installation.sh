#!/bin/sh
# Installs into a separate folder. Fails if a file is missing, is in the wrong
# place, or does not agree with the others.
set -eu
cmake=$1 build=$2 id=$3 bin=$4 data=$5 man=$6 libexec=$7 zsh=$8
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
"$cmake" --install "$build" --prefix "$prefix" >"$prefix/log" || { cat "$prefix/log"; exit 1; }

missing=0
for file in "$bin/vorn-device-finder" "$libexec/vorn-device-finder-launcher" "$bin/vorn-device-list" \
  "$data/applications/$id.desktop" "$data/dbus-1/services/$id.service" "$data/metainfo/$id.metainfo.xml" \
  "$data/icons/hicolor/scalable/apps/$id.svg" "$data/icons/hicolor/symbolic/apps/$id-symbolic.svg" \
  "$data/icons/hicolor/symbolic/apps/$id-inactive-symbolic.svg" \
  "$man/man1/vorn-device-finder.1" "$man/man1/vorn-device-list.1" \
  "$data/bash-completion/completions/vorn-device-list" "$data/fish/vendor_completions.d/vorn-device-list.fish" \
  "$zsh/_vorn-device-list" "$data/locale/de/LC_MESSAGES/vorn-device-list.mo"; do
  [ -s "$prefix/$file" ] || { echo "not installed: $file"; missing=1; }
done
[ "$missing" = 0 ]

for program in "$bin/vorn-device-finder" "$bin/vorn-device-list" "$libexec/vorn-device-finder-launcher"; do
  "$prefix/$program" --version
done
desktop-file-validate "$prefix/$data/applications/$id.desktop"
grep -q "^Name=$id\$" "$prefix/$data/dbus-1/services/$id.service"
grep -q "^Exec=/.*/vorn-device-finder\$" "$prefix/$data/dbus-1/services/$id.service"
for icon in "$prefix/$data"/icons/hicolor/*/apps/*.svg; do
  /usr/bin/python3 -c 'import sys, xml.dom.minidom as d; d.parse(sys.argv[1])' "$icon"
done
