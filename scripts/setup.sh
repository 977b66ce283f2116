#!/usr/bin/env bash
# Installs what the build needs and this Debian machine doesn't have; asks nothing.
set -euo pipefail
here=$(dirname "$0")
missing=()
while read -r package; do
    [ -n "$package" ] || continue
    status=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
    [ "$status" = "install ok installed" ] || missing+=("$package")
done < "$here/packages.txt"
[ ${#missing[@]} -eq 0 ] && exit 0
echo "Installing: ${missing[*]}"
run=()
[ "$(id -u)" -eq 0 ] || run=(sudo)
export DEBIAN_FRONTEND=noninteractive
"${run[@]}" apt-get update -qq
"${run[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
