#!/usr/bin/env bash
# Installs the packages into a fresh minimal Debian, uses them there as root and as a user, updates them under a running
# program, and removes them. Says what it finds; the first fault ends it.
set -euo pipefail
cd "$(dirname "$0")/.."
fail() { echo "package-test: $*" >&2; exit 1; }
note() { echo "package-test: $*"; }

[ "$(id -u)" -eq 0 ] || fail "it makes a Debian of its own and mounts in it, so it needs root: sudo make package-test"
bash scripts/setup.sh && bash scripts/setup.sh packages-packaging.txt
for tool in mmdebstrap unshare cmake lintian; do
    command -v "$tool" >/dev/null || fail "$tool is missing: see scripts/packages-packaging.txt"
done
# Mounts that end with this process.
[ -n "${MOUNTS_ARE_PRIVATE:-}" ] || MOUNTS_ARE_PRIVATE=1 exec unshare --mount --propagation private bash "$0"

work=$(mktemp -d) root=$work/root started=
finish() {
    [ -z "$started" ] || kill "$started" 2>/dev/null || true
    umount "$root/proc" 2>/dev/null || true
    rm -rf --one-file-system "$work"
}
trap finish EXIT

# --- Packages: an older version, and this one ---

older=0.9.0
VERSION=$older bash scripts/package.sh
mv build/package/packages "$work/older"
VERSION= bash scripts/package.sh
cp -r build/package/packages "$work/newer"
newer=$(dpkg-deb --field "$work"/newer/hoistline_*.deb Version)
newer=${newer%-1}

# --- A Debian that has what they depend on, from the sources that this machine's own apt uses ---

release=$(. /etc/os-release && echo "$VERSION_CODENAME")
mapfile -t sources < <(grep -lsw "$release" /etc/apt/sources.list /etc/apt/sources.list.d/*.{list,sources})
[ ${#sources[@]} -gt 0 ] || fail "no package source for $release in /etc/apt"
apt-config dump | grep -E '^Acquire::(http|https|Check-)' >"$work/apt.conf" || true
depends=$(for file in "$work"/newer/*.deb; do dpkg-deb --field "$file" Depends; done | tr '\n' ',' |
    sed -E 's/hoistline \([^)]*\),? ?//; s/,$//')
note "making a Debian $release"
mmdebstrap --quiet --variant=minbase --include=man-db,bash-completion,shared-mime-info,desktop-file-utils,udev \
    --aptopt="$work/apt.conf" --customize-hook="chroot \"\$1\" apt-get -qq --no-install-recommends satisfy '$depends'" \
    "$release" "$root" "${sources[@]}" >"$work/mmdebstrap.log" 2>&1 || { tail -20 "$work/mmdebstrap.log"; fail "no Debian"; }
mount -t proc proc "$root/proc"
chroot "$root" useradd --create-home tester
head -c 131072 /dev/urandom >"$root/opt/image.bin"

# as USER COMMAND...: in that Debian, with nothing of this machine's environment.
as() {
    local user=$1 home
    shift
    home=$(chroot "$root" getent passwd "$user" | cut -d: -f6)
    install -d -m 700 -o "$(stat -c %u "$root$home")" "$root/tmp/run-$user"
    env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME="$home" XDG_RUNTIME_DIR="/tmp/run-$user" LC_ALL=C.UTF-8 \
        QT_QPA_PLATFORM=offscreen HOISTLINE_BUS=simulated chroot --userspec="$user:$user" "$root" \
        sh -c 'cd && exec "$@"' sh "$@"
}
data_of() { echo "$root$(chroot "$root" getent passwd "$1" | cut -d: -f6)/.local/share/HoistlineApp"; }

# Everything but what users and the package manager write for themselves.
files() {
    (cd "$root" && find . -xdev \( -path ./proc -o -path ./tmp -o -path ./home -o -path ./root -o -path ./var/lib/dpkg \
        -o -path ./var/log -o -path ./var/cache \) -prune -o -printf '%y %m %u %p %l\n' | sort)
}
same() { diff "$work/$1" "$work/$2" >&2 || fail "$3"; }
expect() { # TEXT COMMAND...: the command's output has the text
    local text=$1 output
    shift
    output=$("$@" 2>&1) || { echo "$output" >&2; fail "failed: $*"; }
    grep -qF -- "$text" <<<"$output" || { echo "$output" >&2; fail "not \"$text\" from: $*"; }
}

install_packages() { # FOLDER
    chroot "$root" rm -rf /opt/packages
    cp -r "$work/$1" "$root/opt/packages"
    chroot "$root" sh -c 'dpkg --install /opt/packages/*.deb' >"$work/dpkg.log" 2>&1 || { cat "$work/dpkg.log"; fail "dpkg"; }
    rm -r "$root/opt/packages"
}

use() { # USER VERSION
    local user=$1 guid=000F1B0000000001 code=0 status
    expect "$2" as "$user" hoistline --version
    as "$user" env -u HOISTLINE_BUS hoistline doctor >/dev/null 2>&1 || code=$?
    [ "$code" -eq 3 ] || fail "hoistline doctor ends with $code and not with 3, no adapter"
    as "$user" rm -f app.twd
    expect "" as "$user" hoistline package pack app.twd --image1 /opt/image.bin --image1-address 0x20000000 \
        --software-id 0x1234 --software-version 0x01020305 --hardware-id 17 --info "made by package-test"
    as "$user" rm -f load.record
    expect "hoistline load: done" as "$user" hoistline --bus simulated --record load.record load app.twd $guid
    expect "hoistline load: done" as "$user" hoistline --bus replay:load.record load app.twd $guid
    expect "hoistline verify: done" as "$user" hoistline --bus simulated verify --reset app.twd $guid
    status=$(data_of "$user")/script-data/1394_write_status.txt
    rm -f "$status"
    as "$user" HoistlineApp /I >"$work/windows.log" 2>&1 || { cat "$work/windows.log"; fail "HoistlineApp /I"; }
    grep -q "${guid:0:8} ${guid:8}" "$status" || fail "HoistlineApp /I didn't find the simulated device"
    for page in hoistline hoistline-load HoistlineApp; do
        expect "$page" as "$user" man -P cat "$page"
    done
    expect "_hoistline" as "$user" bash -c '. /usr/share/bash-completion/bash_completion && _completion_loader hoistline;
        complete -p hoistline'
    [ ! -e "$(data_of "$user")/docs" ] || fail "documents were copied into the user's folder"
}

# --- Installed, used, updated, removed ---

files >"$work/before"
install_packages older
files >"$work/installed"
for user in root tester; do use "$user" "$older"; done
files >"$work/used"
same installed used "a use by root or a user has changed the installation"
note "version $older installed and used as root and as a user"

as tester hoistline settings set Global Default1394TransactionTimeout 321 >/dev/null 2>&1 || fail "a setting can't be stored"
as tester sh -c 'echo $$ >/tmp/windows && exec HoistlineApp' >"$work/windows.log" 2>&1 &
for _ in $(seq 100); do
    started=$(cat "$root/tmp/windows" 2>/dev/null || true)
    [ -z "$started" ] || ! ls -l "/proc/$started/fd" | grep -q db1.mdb || break
    sleep 0.1
done
ls -l "/proc/$started/fd" | grep -q db1.mdb || fail "HoistlineApp has no database open"
install_packages newer
kill -0 "$started" 2>/dev/null || { cat "$work/windows.log"; fail "HoistlineApp ended during the update"; }
expect 321 as tester hoistline settings get Global Default1394TransactionTimeout
expect "version $older" as tester hoistline log
kill "$started"
wait || true
started=
python3 - "$(data_of tester)/db1.mdb" <<'PYTHON' || fail "the database is damaged"
import sqlite3, sys
sys.exit(sqlite3.connect(sys.argv[1]).execute("PRAGMA integrity_check").fetchone() != ("ok",))
PYTHON
for user in root tester; do use "$user" "$newer"; done
note "updated to $newer while the windows had the database open"

for file in zsh/vendor-completions/_hoistline fish/vendor_completions.d/hoistline.fish doc/hoistline/copyright \
    doc/hoistline-gui/changelog.Debian.gz doc/hoistline/guide/help/twl/hoistline/help; do
    [ -s "$root/usr/share/$file" ] || [ -d "$root/usr/share/$file" ] || fail "/usr/share/$file is missing"
done
[ -s "$root/usr/lib/udev/rules.d/70-hoistline.rules" ] || fail "the udev rule is missing"
expect "application/x-tarnwell-package" grep -r tarnwell "$root/usr/share/mime/globs2"
desktop-file-validate "$root/usr/share/applications/HoistlineApp.desktop" || fail "desktop entry"
appstreamcli validate --no-net "$root/usr/share/metainfo/HoistlineApp.metainfo.xml" >/dev/null || fail "AppStream metadata"
[ -z "$(chroot "$root" dpkg --verify hoistline hoistline-gui)" ] || fail "installed files have changed"

chroot "$root" dpkg --purge hoistline-gui hoistline >"$work/dpkg.log" 2>&1 || { cat "$work/dpkg.log"; fail "purge"; }
files >"$work/after"
same before after "something is left, or gone, after the removal"
strays=$(find "$root/root" "$root/home" "$root/tmp" "$root/var" -iname '*hoistline*' -not -path '*/.local/*' \
    -not -path '*/.config/*' -not -path '*/.cache/*' -not -path '*/tmp/run-*' -not -path '*/var/cache/man/*')
[ -z "$strays" ] || fail "left after the removal: $strays"
note "removed without a trace outside the users' own data"
