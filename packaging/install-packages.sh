#!/usr/bin/env bash
# Installs the packages of apt-packages.txt that are missing: those of the group that the argument names (build or
# develop), or all. Does nothing, and needs no network, when they are there.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
mapfile -t wanted < <(awk -v wanted="${1:-}" '/^# [a-z]+:/ {group = $2} /^[^#]/ && (!wanted || group == wanted ":")' \
  "$here/apt-packages.txt")
missing=()
for package in "${wanted[@]}"; do
  [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0
root=()
[ "$(id -u)" -eq 0 ] || root=(sudo)
echo "installing: ${missing[*]}" >&2
export DEBIAN_FRONTEND=noninteractive
"${root[@]}" apt-get update -qq >&2
"${root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
