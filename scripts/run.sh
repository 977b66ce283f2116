#!/usr/bin/env bash
# Loads a package into the default bus's first target, unattended.
# Argument: your own package, or "". Exit code 0 only if the device's flash is identical.
set -euo pipefail
program=run/program
guid=000F1B0000000001
target=$program/bus-state/$guid
package=${1:-}
hoistline=$program/hoistline

if [ -z "$package" ]; then
    package=run/application.twd
    # The program itself serves as a real file of some size.
    head -c 131072 "$hoistline" > run/application.bin
    "$hoistline" package pack "$package" --image1 run/application.bin --image1-address 0x20000000 --software-id 0x1234 \
        --software-version 0x01020305 --hardware-id 17 --info "made by make run" >/dev/null
fi
log=run/messages.txt
"$program/HoistlineApp" /D "$package" /X "$guid" | tee "$log" | bash scripts/progress.sh

section=run/section.bin
"$hoistline" package unpack "$package" image1 "$section" >/dev/null
crc=$("$hoistline" package show "$package" | sed -n 's/^image1 .* crc //p')
rate=$(sed -n 's/.*Successfully loaded new Application Image.* at \([0-9.]* kB.sec\).*/\1/p' "$log")
failure=$(grep -m 1 -o 'CRC failure.*' "$log" || true)
echo
echo "Device:      $guid"
echo "Bytes:       $(stat -c %s "$section")"
echo "Rate:        ${rate:-the load failed}"
echo "CRC verdict: $([ -n "$rate" ] && echo "good ($crc)" || echo "${failure:-none}")"
echo "Status file: $program/script-data/1394_write_status.txt"
echo "Log:         $program/db1.mdb"
if cmp -s "$section" "$target/application.bin"; then
    echo "Flash:       identical with the package's section"
else
    echo "Flash:       DIFFERENT from the package's section"
    exit 1
fi
[ -n "$rate" ]
