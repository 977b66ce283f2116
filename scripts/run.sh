#!/usr/bin/env bash
# Loads a package into the default bus's first target.
# Argument: your own package, or "". Exit code 0 only if the device's flash is identical.
set -euo pipefail
program=run/program
guid=000F1B0000000001
package=${1:-}
export HOISTLINE_BUS=simulated

if [ -z "$package" ]; then
    package=run/application.twd
    # The program itself serves as a real file of some size.
    head -c 131072 "$program/hoistline" > run/application.bin
    "$program/hoistline" package pack "$package" --image1 run/application.bin --image1-address 0x20000000 \
        --software-id 0x1234 --software-version 0x01020305 --hardware-id 17 --info "made by make run" >/dev/null
fi

shown() {
    echo "\$ hoistline $*"
    "$program/hoistline" "$@"
    echo
}
shown list
shown load "$package" "$guid"
shown verify --reset "$package" "$guid"

section=run/section.bin
"$program/hoistline" package unpack "$package" image1 "$section" >/dev/null
if cmp -s "$section" "$program/bus-state/$guid/application.bin"; then
    echo "The device's flash is identical with the package's section ($(stat -c %s "$section") bytes)."
else
    echo "The device's flash is DIFFERENT from the package's section."
    exit 1
fi
