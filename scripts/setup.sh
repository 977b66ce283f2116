#!/usr/bin/env bash
# setup.sh [LIST]: installs the packages that the build needs, or those of LIST, and that this Debian machine lacks, without
# asking.
set -euo pipefail
cd "$(dirname "$0")"
mapfile -t packages < "${1:-packages.txt}"
# A single query for all of them: no delay on a machine that has everything.
present=$(dpkg-query -W -f='${db:Status-Abbrev}${Package}\n' "${packages[@]}" 2>/dev/null | sed -n 's/^ii *//p' || true)
missing=()
for package in "${packages[@]}"; do
    [[ $'\n'$present$'\n' == *$'\n'"$package"$'\n'* ]] || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0
echo "Installing: ${missing[*]}"
run=()
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "setup: neither root nor sudo; install them first" >&2; exit 1; }
    run=(sudo env DEBIAN_FRONTEND=noninteractive)
fi
export DEBIAN_FRONTEND=noninteractive
"${run[@]}" apt-get update -qq
"${run[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
