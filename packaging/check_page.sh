#!/bin/sh
# Fails if the formatter complains about a manual page, or shows nothing.
set -eu
page=$1
complaints=$(LC_ALL=C.UTF-8 groff -man -Tutf8 -rLL=80n -ww -z "$page" 2>&1)
if [ -n "$complaints" ]; then
  echo "$complaints"
  exit 1
fi
LC_ALL=C.UTF-8 man -l "$page" | grep -q '^NAME'
